#include "Core/Store/StoreErrors.h"

#include "Database/Database.h"
#include "Foundation/Format.h"

namespace qs {

namespace {

std::string_view reasonOf(const DatabaseFailure& failure) {
    if (failure.isDamage())
        return "The file “%@” is damaged. It was left as it is; please put a copy of it from your backup in its place.";
    if (failure.isFull()) return "There is no space left on the disk for “%@”.";
    if (failure.isBusy()) return "Another program is working on the file “%@”.";
    return "The file “%@” could not be used: %@.";
}

}  // namespace

Error storeError(StoreErrorCode code, std::string description, Dictionary userInfo) {
    return {std::string(NSCocoaErrorDomain), static_cast<int>(code), std::move(description), std::move(userInfo)};
}

Error storeError(StoreErrorCode code, const DatabaseFailure& failure, std::string_view file) {
    const std::string_view name = file.substr(file.rfind('/') + 1);
    return storeError(failure.isDamage() ? StoreErrorCode::Damaged : code,
                      stringWithFormat(reasonOf(failure), {name, failure.what()}),
                      {{std::string(NSFilePathErrorKey), file},
                       {"NSSQLiteErrorDomain", failure.code()},
                       {"NSUnderlyingError", failure.what()}});
}

Value detailOf(const Error& error) {
    Dictionary detail = error.userInfo;
    detail["domain"] = error.domain;
    detail["code"] = error.code;
    detail[std::string(NSLocalizedDescriptionKey)] = error.description;
    return detail;
}

}  // namespace qs
