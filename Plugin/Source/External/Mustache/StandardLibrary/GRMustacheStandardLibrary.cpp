#include "StandardLibrary/GRMustacheStandardLibrary.h"

#include "GRMustacheContext.h"
#include "StandardLibrary/GRMustacheEachFilter.h"
#include "StandardLibrary/GRMustacheEscapers.h"
#include "StandardLibrary/GRMustacheLocalizer.h"
#include "StandardLibrary/GRMustacheTextFilters.h"

namespace qs {

namespace {

GRMustacheValue escaper(std::shared_ptr<GRMustacheEscaper> object) {
    return GRMustacheDictionary{{"escape", std::move(object)}};
}

}  // namespace

const GRMustacheValue& GRMustacheStandardLibrary::standardLibrary() {
    static const GRMustacheValue library = GRMustacheDictionary{
        {"capitalized", std::make_shared<GRMustacheCapitalizedFilter>()},
        {"lowercase", std::make_shared<GRMustacheLowercaseFilter>()},
        {"uppercase", std::make_shared<GRMustacheUppercaseFilter>()},
        {"isBlank", std::make_shared<GRMustacheBlankFilter>()},
        {"isEmpty", std::make_shared<GRMustacheEmptyFilter>()},
        {"localize", std::make_shared<GRMustacheLocalizer>()},
        {"each", std::make_shared<GRMustacheEachFilter>()},
        {"HTML", escaper(std::make_shared<GRMustacheHTMLEscapeFilter>())},
        {"javascript", escaper(std::make_shared<GRMustacheJavascriptEscaper>())},
        {"URL", escaper(std::make_shared<GRMustacheURLEscapeFilter>())},
    };
    return library;
}

std::shared_ptr<const GRMustacheContext> GRMustacheStandardLibrary::baseContext() {
    static const GRMustacheContextRef context = GRMustacheContext::contextWithObject(standardLibrary());
    return context;
}

}  // namespace qs
