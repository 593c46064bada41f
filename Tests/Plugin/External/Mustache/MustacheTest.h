// What the tests of the template engine share: a template rendered in one step, errors shown as text.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

#include "GRMustacheError.h"
#include "GRMustacheTemplate.h"
#include "GRMustacheTemplateRepository.h"

namespace qs {

using Partials = std::map<std::string, std::string, std::less<>>;

// The text, or "error <code>: <description>".
inline std::string outcome(const Result<std::string>& result) {
    if (result) return *result;
    return "error " + std::to_string(result.error().code) + ": " + result.error().description;
}

inline std::string rendered(std::string_view text, const GRMustacheValue& object = {}, const Partials& partials = {},
                            GRMustacheContentType contentType = GRMustacheContentType::HTML) {
    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary(partials);
    const auto made = repository->templateFromString(text, contentType);
    if (!made) return outcome(failed(made));
    return outcome((*made)->renderObject(object));
}

inline std::string renderedAsText(std::string_view text, const GRMustacheValue& object = {},
                                  const Partials& partials = {}) {
    return rendered(text, object, partials, GRMustacheContentType::Text);
}

}  // namespace qs
