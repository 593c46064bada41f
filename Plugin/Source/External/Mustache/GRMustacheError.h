// The engine's errors. Where the place in a template is known, `userInfo` tells it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

struct GRMustacheToken;

inline constexpr std::string_view GRMustacheErrorDomain = "GRMustacheErrorDomain";
enum GRMustacheErrorCode : int {
    GRMustacheErrorCodeParseError = 0,
    GRMustacheErrorCodeTemplateNotFound = 1,
    GRMustacheErrorCodeRenderingError = 2,
};

// Keys of the user info: line and column count from 1, a column is a character; the id is missing without a template
// id.
inline constexpr std::string_view GRMustacheErrorLineKey = "GRMustacheErrorLine";
inline constexpr std::string_view GRMustacheErrorColumnKey = "GRMustacheErrorColumn";
inline constexpr std::string_view GRMustacheErrorTemplateIDKey = "GRMustacheErrorTemplateID";
// Of a parse error: what is wrong, without the place that the description begins with.
inline constexpr std::string_view GRMustacheErrorMessageKey = "GRMustacheErrorMessage";

// No error, for what is called with every tag. Result<void>() sets the room for an error to zero, too, which takes
// longer than the rest of what most tags need.
Result<void> mustacheSuccess();

Error mustacheError(GRMustacheErrorCode code, std::string description);
// "Parse error at line 3 of template x: <message>"
Error mustacheParseError(const GRMustacheToken& at, std::string_view message);
Error mustacheNilTemplateString();
Error mustacheTemplateNotFound(std::string_view name);
// The error with the place of the tag, unless it has a place already.
Error mustacheErrorAt(const GRMustacheToken& tag, Error error);

}  // namespace qs
