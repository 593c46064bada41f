#include "Mail/LibraryReading.h"

#include "Mail/Library.h"

namespace qs {

bool LibraryReading::isOver() {
    const auto library = Library::shared();
    const auto* const reading = dynamic_cast<const LibraryReading*>(library.get());
    return library && (!reading || reading->isReadIn());
}

}  // namespace qs
