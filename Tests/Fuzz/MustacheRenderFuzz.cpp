// Compiles and renders templates of any bytes, with data that has every kind of value. The bytes hold several
// templates, named a, b, c and so on, with a line "---" between them; the first is rendered. A second rendering must
// give the same.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "GRMustacheFilter.h"
#include "GRMustacheRendering.h"
#include "GRMustacheTag.h"
#include "GRMustacheTagDelegate.h"
#include "GRMustacheTemplate.h"
#include "GRMustacheTemplateRepository.h"

namespace {

using namespace qs;

constexpr std::string_view kBetween = "\n---\n";

class Watcher final : public GRMustacheTagDelegate {
public:
    GRMustacheValue mustacheTagWillRenderObject(const GRMustacheTag&, const GRMustacheValue& object) override {
        return object.isString() ? GRMustacheValue(std::string(object.string()) + "'") : object;
    }
};

GRMustacheValue data() {
    const auto twice = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe) -> Result<std::string> {
            auto content = tag.renderContentWithContext(context, HTMLSafe);
            if (content) *content += *content;
            return content;
        });
    const auto made = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe) -> Result<std::string> {
            const auto inner = GRMustacheTemplate::templateFromString(tag.innerTemplateString());
            if (!inner) return failed(inner);
            return (*inner)->renderForMustacheTag(tag, context, HTMLSafe);
        });
    const auto last = GRMustacheFilter::variadicFilterWithBlock(
        [](std::span<const GRMustacheValue> arguments) -> Result<GRMustacheValue> { return arguments.back(); });
    return GRMustacheDictionary{{"t", true},
                                {"f", false},
                                {"n", 42},
                                {"r", 0.5},
                                {"s", "a <b> & \"c\" 'd' \u2028 é"},
                                {"e", ""},
                                {"z", GRMustacheValue::null()},
                                {"l", Array{1, "<", Value(), Array{2}, Dictionary{{"s", "inner"}}}},
                                {"p", Array{Dictionary{{"s", "1"}}, Dictionary{{"s", "2"}}}},
                                {"o", Array{}},
                                {"d", Dictionary{{"s", "deep"}, {"d", Dictionary{{"s", "deeper"}}}}},
                                {"w", Date{1e9}},
                                {"x", Data{"bytes"}},
                                {"twice", twice},
                                {"made", made},
                                {"last", last},
                                {"watch", std::make_shared<Watcher>()}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    static const GRMustacheValue values = data();
    std::map<std::string, std::string, std::less<>> templates;
    std::string_view rest(reinterpret_cast<const char*>(bytes), size);
    for (char name = 'a'; name <= 'z'; ++name) {
        const std::size_t end = std::min(rest.find(kBetween), rest.size());
        templates.emplace(std::string(1, name), rest.substr(0, end));
        if (end == rest.size()) break;
        rest.remove_prefix(end + kBetween.size());
    }
    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary(std::move(templates));
    const auto first = repository->templateNamed("a");
    if (!first) return 0;
    (*first)->extendBaseContextWithProtectedObject(Dictionary{{"q", Dictionary{{"s", "protected"}}}});
    const auto text = (*first)->renderObject(values), again = (*first)->renderObject(values);
    if (text.has_value() != again.has_value() || (text && *text != *again)) std::abort();
    return 0;
}
