// Errors of the object store, as dialogs and logs get them.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class DatabaseFailure;

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
// Keys of an error's user info. The detailed errors are dictionaries with "domain", "code", NSLocalizedDescriptionKey
// and what else the error's user info holds.
inline constexpr std::string_view NSDetailedErrorsKey = "NSDetailedErrors";
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view NSValidationKeyErrorKey = "NSValidationErrorKey";
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";

enum class StoreErrorCode {
    Damaged = 259,            // the file is no database, or not a whole one
    MultipleErrors = 1560,    // several validation errors at once: NSDetailedErrorsKey
    MissingMandatory = 1570,  // an attribute that must have a value has none
    MergeConflict = 133020,   // somebody else has changed or removed the object's row
    Model = 134020,           // the description of the objects is not right
    Save = 134030,            // the disk or the database refuses
    Open = 134080,
    TooNew = 134100,     // the store was written by a newer version
    Migration = 134110,  // the store can't be brought to the newer model
};

Error storeError(StoreErrorCode code, std::string description, Dictionary userInfo = {});
// What the database said, with a sentence for people. `code` unless it is damage.
Error storeError(StoreErrorCode code, const DatabaseFailure& failure, std::string_view file);
// For NSDetailedErrorsKey.
Value detailOf(const Error& error);

}  // namespace qs
