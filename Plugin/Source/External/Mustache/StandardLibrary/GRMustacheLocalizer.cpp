#include "StandardLibrary/GRMustacheLocalizer.h"

#include <utility>
#include <vector>

#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "GRMustacheContext.h"
#include "GRMustacheError.h"
#include "GRMustacheTag.h"
#include "GRMustacheTagDelegate.h"

namespace qs {

namespace {

constexpr std::string_view kPlaceholder = "GRMustacheLocalizerValuePlaceholder";
constexpr std::size_t kMostArguments = 11;

// Puts the placeholder where values are.
class Masking final : public GRMustacheTagDelegate {
public:
    GRMustacheValue mustacheTagWillRenderObject(const GRMustacheTag& tag, const GRMustacheValue& object) override {
        return tag.type() == GRMustacheTagType::Variable ? GRMustacheValue::borrowingString(kPlaceholder) : object;
    }
};

// Takes down what variable tags render as.
class Collecting final : public GRMustacheTagDelegate {
public:
    void mustacheTagDidRenderObjectAs(const GRMustacheTag& tag, const GRMustacheValue&,
                                      std::string_view rendering) override {
        if (tag.type() == GRMustacheTagType::Variable) formatArguments.emplace_back(rendering);
    }
    std::vector<Value> formatArguments;
};

// The key's text as a format: "100%" and a value become "100%%" and "%@".
std::string formatOf(std::string_view masked) {
    std::string format;
    for (std::size_t at = 0; at < masked.size();) {
        if (masked.substr(at).starts_with(kPlaceholder)) {
            format += "%@";
            at += kPlaceholder.size();
        } else {
            format += masked[at] == '%' ? "%%" : std::string_view(&masked[at], 1);
            ++at;
        }
    }
    return format;
}

}  // namespace

GRMustacheLocalizer::GRMustacheLocalizer(std::shared_ptr<const Bundle> bundle, std::string tableName)
    : bundle_(std::move(bundle)), tableName_(std::move(tableName)) {}

std::string GRMustacheLocalizer::localized(std::string_view key) const {
    const auto bundle = bundle_ ? bundle_ : Bundle::mainBundle();
    return bundle ? bundle->localizedStringForKey(key, {}, tableName_) : std::string(key);
}

Result<GRMustacheValue> GRMustacheLocalizer::transformedValue(const GRMustacheValue& object) const {
    if (object.isNil()) return GRMustacheValue();
    return GRMustacheValue(localized(object.description()));
}

Result<std::string> GRMustacheLocalizer::renderForMustacheTag(const GRMustacheTag& tag,
                                                              const GRMustacheContext& context, bool& HTMLSafe) const {
    if (tag.type() == GRMustacheTagType::Variable) return description();
    Masking masking;
    const GRMustacheContext masked = context.contextByAddingTagDelegate(masking);
    const auto key = tag.renderContentWithContext(masked, HTMLSafe);
    if (!key) return failed(key);

    Collecting collecting;
    const GRMustacheContext collected = context.contextByAddingTagDelegate(collecting);
    const auto plain = tag.renderContentWithContext(collected, HTMLSafe);
    if (!plain) return failed(plain);

    const std::vector<Value>& values = collecting.formatArguments;
    if (values.empty()) return localized(*plain);
    if (values.size() > kMostArguments)
        return failure(mustacheError(GRMustacheErrorCodeRenderingError,
                                     stringWithFormat("Not implemented: format with %ld parameters",
                                                      {static_cast<std::int64_t>(values.size())})));
    return stringWithFormat(localized(formatOf(*key)), values);
}

}  // namespace qs
