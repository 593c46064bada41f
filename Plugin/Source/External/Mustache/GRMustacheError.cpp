#include "GRMustacheError.h"

#include <algorithm>

#include "Foundation/Format.h"
#include "GRMustacheToken.h"

namespace qs {

namespace {

const Result<void> kSuccess;

std::int64_t columnOf(const GRMustacheToken& token) {
    const std::string_view before = token.templateString.substr(0, token.range.location);
    const std::string_view line = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0
    return 1 + std::count_if(line.begin(), line.end(),
                             [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
}

}  // namespace

Result<void> mustacheSuccess() { return kSuccess; }

Error mustacheError(GRMustacheErrorCode code, std::string description) {
    return {std::string(GRMustacheErrorDomain), code, std::move(description), {}};
}

Error mustacheErrorAt(const GRMustacheToken& tag, Error error) {
    if (error.userInfo.contains(GRMustacheErrorLineKey)) return error;
    error.userInfo.emplace(GRMustacheErrorLineKey, static_cast<std::int64_t>(tag.line));
    error.userInfo.emplace(GRMustacheErrorColumnKey, columnOf(tag));
    if (tag.templateID) error.userInfo.emplace(GRMustacheErrorTemplateIDKey, *tag.templateID);
    return error;
}

Error mustacheParseError(const GRMustacheToken& at, std::string_view message) {
    const auto line = static_cast<std::int64_t>(at.line);
    std::string text =
        at.templateID ? stringWithFormat("Parse error at line %lu of template %@: %@", {line, *at.templateID, message})
                      : stringWithFormat("Parse error at line %lu: %@", {line, message});
    Error error = mustacheError(GRMustacheErrorCodeParseError, std::move(text));
    error.userInfo.emplace(GRMustacheErrorMessageKey, message);
    return mustacheErrorAt(at, std::move(error));
}

Error mustacheNilTemplateString() {
    return mustacheError(GRMustacheErrorCodeTemplateNotFound, "Nil template string can not be parsed.");
}

Error mustacheTemplateNotFound(std::string_view name) {
    return mustacheError(GRMustacheErrorCodeTemplateNotFound, stringWithFormat("No such template: `%@`", {name}));
}

}  // namespace qs
