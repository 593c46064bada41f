#include "GRMustacheRendering.h"

#include <utility>

#include "Foundation/Assertion.h"
#include "GRMustacheContext.h"
#include "GRMustacheError.h"
#include "GRMustacheTag.h"

namespace qs {

namespace {

using Kind = GRMustacheValue::Kind;

class BlockRendering final : public GRMustacheRendering {
public:
    explicit BlockRendering(Block block) : block_(std::move(block)) {}
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override {
        return block_(tag, context, HTMLSafe);
    }

private:
    Block block_;
};

class ValueRendering final : public GRMustacheRendering {
public:
    explicit ValueRendering(GRMustacheValue value) : value_(std::move(value)) {}
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override {
        std::string out;
        if (auto rendered = appendRendering(tag, false, context, out, HTMLSafe); !rendered) return failed(rendered);
        return out;
    }
    Result<void> appendRendering(const GRMustacheTag& tag, bool asEnumerationItem, const GRMustacheContext& context,
                                 std::string& out, bool& HTMLSafe) const override {
        return append(value_, tag, asEnumerationItem, context, out, HTMLSafe);
    }
    bool mustacheBoolValue() const override { return boolValueOf(value_); }

private:
    GRMustacheValue value_;
};

// Whether a section puts the value on the context stack before it shows its content.
bool isPushed(const GRMustacheValue& value, bool asEnumerationItem, bool inverted) {
    if (value.isNil()) return false;
    if (asEnumerationItem) return true;
    if (value.isNothing() || value.isNumber()) return false;
    return !(value.isString() && inverted);
}

Result<void> appendItems(const GRMustacheValue& list, const GRMustacheTag& tag, const GRMustacheContext& context,
                         std::string& out, bool& HTMLSafe) {
    const std::size_t count = list.count();
    if (count == 0 && tag.isInverted()) return tag.appendContentWithContext(context, out, HTMLSafe);
    for (std::size_t i = 0; i < count; ++i) {
        bool isItemSafe = false;
        auto rendered = GRMustacheRendering::append(list.itemAt(i), tag, true, context, out, isItemSafe);
        if (!rendered) return rendered;
        if (i == 0) HTMLSafe = isItemSafe;
        if (isItemSafe == HTMLSafe) continue;
        Error error =
            mustacheError(GRMustacheErrorCodeRenderingError, "Inconsistant HTML escaping of items in enumeration");
        error.userInfo.emplace("GRMustacheException", GRMustacheRenderingException);
        return failure(std::move(error));
    }
    return {};
}

}  // namespace

Result<std::string> GRMustacheRendering::renderForMustacheTagAsEnumerationItem(const GRMustacheTag& tag,
                                                                               bool /*asEnumerationItem*/,
                                                                               const GRMustacheContext& context,
                                                                               bool& HTMLSafe) const {
    return renderForMustacheTag(tag, context, HTMLSafe);
}

Result<void> GRMustacheRendering::appendRendering(const GRMustacheTag& tag, bool asEnumerationItem,
                                                  const GRMustacheContext& context, std::string& out,
                                                  bool& HTMLSafe) const {
    const auto text = asEnumerationItem ? renderForMustacheTagAsEnumerationItem(tag, true, context, HTMLSafe)
                                        : renderForMustacheTag(tag, context, HTMLSafe);
    if (!text) return failed(text);
    out += *text;
    return {};
}

std::shared_ptr<GRMustacheRendering> GRMustacheRendering::renderingObjectWithBlock(Block block) {
    assertThat(block != nullptr, "Can't build a rendering object with a nil rendering block.");
    return std::make_shared<BlockRendering>(std::move(block));
}

std::shared_ptr<GRMustacheRendering> GRMustacheRendering::renderingObjectForObject(const GRMustacheValue& value) {
    return std::make_shared<ValueRendering>(value.retained());
}

bool GRMustacheRendering::boolValueOf(const GRMustacheValue& value) {
    switch (value.kind()) {
    case Kind::Nil:
    case Kind::Null: return false;
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real: return value.boolValue();
    case Kind::String: return !value.string().empty();
    case Kind::Object:
        if (const GRMustacheRendering* rendering = value.object()->asRendering()) return rendering->mustacheBoolValue();
        return !value.isCollection() || value.count() > 0;
    case Kind::PlistArray:
    case Kind::List: return value.count() > 0;
    default: return true;
    }
}

Result<void> GRMustacheRendering::append(const GRMustacheValue& value, const GRMustacheTag& tag, bool asEnumerationItem,
                                         const GRMustacheContext& context, std::string& out, bool& HTMLSafe) {
    HTMLSafe = false;
    const GRMustacheRendering* own = value.object() ? value.object()->asRendering() : nullptr;
    if (own) return own->appendRendering(tag, asEnumerationItem, context, out, HTMLSafe);
    if (value.isCollection() && !asEnumerationItem) return appendItems(value, tag, context, out, HTMLSafe);
    if (tag.type() == GRMustacheTagType::Variable && !value.isCollection()) {
        value.appendDescription(out);
        return {};
    }
    if (!isPushed(value, asEnumerationItem, tag.isInverted()))
        return tag.appendContentWithContext(context, out, HTMLSafe);
    const GRMustacheContext inner = context.contextByAddingObject(value.borrowed());
    return tag.appendContentWithContext(inner, out, HTMLSafe);
}

}  // namespace qs
