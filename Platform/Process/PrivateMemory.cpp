#include "Process/PrivateMemory.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace qs {

void keepMemoryPrivate() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace qs
