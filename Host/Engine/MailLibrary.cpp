#include "MailLibrary.h"

#include "Library/LibraryCore.h"

namespace qs {

Result<std::shared_ptr<MailLibrary>> MailLibrary::open(const std::filesystem::path& dataFolder,
                                                       std::shared_ptr<AccountBook> accounts, FileSystem& files) {
    defineLibraryClasses(ClassRegistry::current());
    auto library = std::make_shared<LibraryCore>(dataFolder, std::move(accounts), files);
    try {
        if (auto begun = library->begin(); !begun) return failed(begun);
    } catch (const DatabaseFailure& exception) {
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryIndex,
                       "The library can't be opened: " + std::string(exception.what()));
    }
    return library;
}

MessageCopies& MessageCopies::of(MailLibrary& library) { return dynamic_cast<MessageCopies&>(library); }

MailReading& MailReading::of(MailLibrary& library) { return dynamic_cast<MailReading&>(library); }

}  // namespace qs
