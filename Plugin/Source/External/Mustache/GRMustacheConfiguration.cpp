#include "GRMustacheConfiguration.h"

#include <utility>

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "GRMustacheContext.h"
#include "StandardLibrary/GRMustacheStandardLibrary.h"

namespace qs {

GRMustacheConfiguration& GRMustacheConfiguration::defaultConfiguration() {
    static GRMustacheConfiguration shared;
    return shared;
}

GRMustacheConfiguration::GRMustacheConfiguration() : baseContext_(GRMustacheStandardLibrary::baseContext()) {}

GRMustacheConfiguration::GRMustacheConfiguration(const GRMustacheConfiguration& other)
    : contentType_(other.contentType_),
      tagStartDelimiter_(other.tagStartDelimiter_),
      tagEndDelimiter_(other.tagEndDelimiter_),
      baseContext_(other.baseContext_) {}

GRMustacheConfiguration& GRMustacheConfiguration::operator=(const GRMustacheConfiguration& other) {
    assertUnlocked();
    contentType_ = other.contentType_;
    tagStartDelimiter_ = other.tagStartDelimiter_;
    tagEndDelimiter_ = other.tagEndDelimiter_;
    baseContext_ = other.baseContext_;
    return *this;
}

void GRMustacheConfiguration::assertUnlocked() const {
    if (locked_)
        raiseAssertion(stringWithFormat("%@ was mutated after template compilation", {"<GRMustacheConfiguration>"}));
}

void GRMustacheConfiguration::setContentType(GRMustacheContentType contentType) {
    assertUnlocked();
    contentType_ = contentType;
}

void GRMustacheConfiguration::setTagStartDelimiter(std::string delimiter) {
    assertUnlocked();
    if (delimiter.empty()) raiseAssertion(stringWithFormat("Invalid tagStartDelimiter:%@", {delimiter}));
    tagStartDelimiter_ = std::move(delimiter);
}

void GRMustacheConfiguration::setTagEndDelimiter(std::string delimiter) {
    assertUnlocked();
    if (delimiter.empty()) raiseAssertion(stringWithFormat("Invalid tagEndDelimiter:%@", {delimiter}));
    tagEndDelimiter_ = std::move(delimiter);
}

void GRMustacheConfiguration::setBaseContext(std::shared_ptr<const GRMustacheContext> context) {
    assertUnlocked();
    assertThat(context != nullptr, "Invalid baseContext:nil");
    baseContext_ = std::move(context);
}

}  // namespace qs
