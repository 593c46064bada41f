#include "Mail/Library.h"

#include "Application/HostInstances.h"

namespace qs {

std::shared_ptr<Library> Library::shared() { return HostInstances::current().library; }

std::shared_ptr<LibraryStore> LibraryStore::shared() { return HostInstances::current().libraryStore; }

}  // namespace qs
