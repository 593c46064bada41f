#include "GRMustacheRendering.h"

#include <utility>

#include "Foundation/Assertion.h"
#include "GRMustacheRenderingEngine.h"

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

}  // namespace

Result<void> GRMustacheRendering::appendRendering(const GRMustacheTag& tag, bool /*asEnumerationItem*/,
                                                  const GRMustacheContext& context, std::string& out,
                                                  bool& HTMLSafe) const {
    const auto text = renderForMustacheTag(tag, context, HTMLSafe);
    if (!text) return failed(text);
    out += *text;
    return {};
}

Result<void> GRMustacheRenderingWithIterationSupport::appendRendering(const GRMustacheTag& tag, bool asEnumerationItem,
                                                                      const GRMustacheContext& context,
                                                                      std::string& out, bool& HTMLSafe) const {
    const auto text = renderForMustacheTagAsEnumerationItem(tag, asEnumerationItem, context, HTMLSafe);
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
    return GRMustacheRenderingEngine::appendValue(value, tag, asEnumerationItem, context, out, HTMLSafe);
}

}  // namespace qs
