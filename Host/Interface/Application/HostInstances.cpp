#include "Application/HostInstances.h"

namespace qs {

HostInstances& HostInstances::current() {
    static HostInstances instances;
    return instances;
}

}  // namespace qs
