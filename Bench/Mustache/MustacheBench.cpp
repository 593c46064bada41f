// What compiling and rendering a signature cost beside the least that any engine must do: append the same text, cut
// into 200 ready parts, to a string. The signature has 3 kB, 28 names and a list of 20 links; its text has 5 kB. "times
// the floor" is of processor time, measured by taking turns, so that a busy machine slows both alike.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Assertion.h"
#include "GRMustacheTagDelegate.h"
#include "GRMustacheTemplate.h"
#include "GRMustacheTemplateRepository.h"

namespace qs {
namespace {

constexpr std::string_view kNames[] = {
    "name",        "title",        "affiliation", "department", "address",       "postalCode",   "city",
    "country",     "phone",        "fax",         "mobile",     "email",         "websiteLink",  "facebookLink",
    "twitterLink", "linkedInLink", "flickrLink",  "disclaimer", "closing",       "headerColor",  "textColor",
    "linkColor",   "fontName",     "fontSize",    "logoImage",  "portraitImage", "contactGroup", "registration"};
constexpr std::size_t kLinks = 20, kParts = 200;

// `value` stands around every name of a variable: "" or a filter.
std::string signatureSource(std::string_view filter = {}) {
    const auto tag = [&](std::string_view name) {
        if (filter.empty()) return "{{" + std::string(name) + "}}";
        return "{{" + std::string(filter) + "(" + std::string(name) + ")}}";
    };
    std::string text = "<div id=\"QuillsteadSignature\" style=\"font-family: " + tag("fontName") +
                       ", Helvetica, sans-serif; font-size: " + tag("fontSize") + "; color: " + tag("textColor") +
                       "\">\n<table cellpadding=\"0\" cellspacing=\"0\" border=\"0\" width=\"480\">\n"
                       "<tr style=\"background: " +
                       tag("headerColor") + "\"><td><img src=\"" + tag("logoImage") + "\"></td><td><img src=\"" +
                       tag("portraitImage") + "\"></td></tr>\n{{#contactGroup}}\n";
    for (const std::string_view name : kNames) {
        if (name.ends_with("Color") || name.starts_with("font") || name.ends_with("Image") || name == "contactGroup")
            continue;
        text += "<tr><td class=\"label\" style=\"padding: 2px 8px 2px 0\"><b>" + std::string(name) +
                ":</b></td><td class=\"value\">" + tag(name) + "</td></tr>\n";
    }
    text += "{{/contactGroup}}\n</table>\n<p>{{#links}}<a href=\"" + tag("url") +
            "\" style=\"color: " + tag("linkColor") + "\">" + tag("label") +
            "</a>{{^last}} | {{/last}}{{/links}}</p>\n";
    while (text.size() < 2900)
        text += "<!-- space for the layout of mail programs that know little of style sheets -->\n";
    return text + "</div>\n";
}

Value signatureValues() {
    Dictionary values;
    for (const std::string_view name : kNames)
        values.emplace(name, "a value for " + std::string(name));
    values["affiliation"] = "Fontaine & Sons";
    values["contactGroup"] = true;
    values["linkColor"] = "#336699";
    Array links;
    for (std::size_t i = 0; i < kLinks; ++i)
        links.emplace_back(Dictionary{{"url", "https://example.org/people/ada/" + std::to_string(i)},
                                      {"label", "Link number " + std::to_string(i)},
                                      {"last", i + 1 == kLinks}});
    values["links"] = links;
    return values;
}

std::shared_ptr<GRMustacheTemplate> compiled(const std::string& source) {
    auto made = GRMustacheTemplateRepository::templateRepository()->templateFromString(source);
    assertThat(made.has_value(), "the template is broken");
    return *made;
}

std::string text(const GRMustacheTemplate& signature, const Value& values) {
    auto rendered = signature.renderObject(GRMustacheValue::borrowing(values));
    assertThat(rendered.has_value(), "the template can't be rendered");
    return std::move(*rendered);
}

// The floor.
class ReadyParts {
public:
    ReadyParts() {
        const std::string whole = text(*compiled(signatureSource()), signatureValues());
        for (std::size_t i = 0; i < kParts; ++i) {
            const std::size_t from = whole.size() * i / kParts, to = whole.size() * (i + 1) / kParts;
            parts_.push_back(whole.substr(from, to - from));
        }
    }
    std::string joined() const {
        std::string out;
        for (const std::string& part : parts_)
            out += part;
        return out;
    }

private:
    std::vector<std::string> parts_;
};

void floorOfReadyParts(benchmark::State& state) {
    const ReadyParts parts;
    for (auto _ : state)
        benchmark::DoNotOptimize(parts.joined());
    state.counters["bytes"] = static_cast<double>(parts.joined().size());
}
BENCHMARK(floorOfReadyParts);

template <class Work>
void besideTheFloor(benchmark::State& state, const Work& work) {
    const ReadyParts parts;
    const auto timeOf = [](const auto& step) {
        const std::clock_t start = std::clock();
        for (int i = 0; i < 100; ++i)
            benchmark::DoNotOptimize(step());
        return static_cast<double>(std::clock() - start);
    };
    std::vector<double> ratios;
    for (auto _ : state) {
        const double floor = timeOf([&] { return parts.joined(); });
        ratios.push_back(timeOf(work) / std::max(floor, 1.0));
    }
    std::nth_element(ratios.begin(), ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2), ratios.end());
    state.counters["times the floor"] = ratios[ratios.size() / 2];
}

void compileBesideTheFloor(benchmark::State& state) {
    const std::string source = signatureSource();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    besideTheFloor(state, [&] { return repository->templateFromString(source); });
}
BENCHMARK(compileBesideTheFloor)->Iterations(51);

void renderBesideTheFloor(benchmark::State& state, std::string_view filter) {
    const auto signature = compiled(signatureSource(filter));
    const Value values = signatureValues();
    besideTheFloor(state, [&] { return text(*signature, values); });
}
BENCHMARK_CAPTURE(renderBesideTheFloor, plain, "")->Iterations(51);
BENCHMARK_CAPTURE(renderBesideTheFloor, withFilters, "uppercase")->Iterations(51);

void compile(benchmark::State& state) {
    const std::string source = signatureSource();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    for (auto _ : state)
        benchmark::DoNotOptimize(repository->templateFromString(source));
    state.counters["bytes"] = static_cast<double>(source.size());
}
BENCHMARK(compile);

void render(benchmark::State& state) {
    const auto signature = compiled(signatureSource());
    const Value values = signatureValues();
    for (auto _ : state)
        benchmark::DoNotOptimize(text(*signature, values));
}
BENCHMARK(render);

void renderWithTagDelegate(benchmark::State& state) {
    class Counter final : public GRMustacheTagDelegate {
    public:
        void mustacheTagDidRenderObjectAs(const GRMustacheTag&, const GRMustacheValue&,
                                          std::string_view text) override {
            count += text.size();
        }
        std::size_t count = 0;
    };
    const auto signature = compiled(signatureSource());
    const auto counter = std::make_shared<Counter>();
    signature->extendBaseContextWithTagDelegate(counter);
    const Value values = signatureValues();
    for (auto _ : state)
        benchmark::DoNotOptimize(text(*signature, values));
    benchmark::DoNotOptimize(counter->count);
}
BENCHMARK(renderWithTagDelegate);

void renderWithFilters(benchmark::State& state) {
    const auto signature = compiled(signatureSource("uppercase"));
    const Value values = signatureValues();
    for (auto _ : state)
        benchmark::DoNotOptimize(text(*signature, values));
}
BENCHMARK(renderWithFilters);

void renderWithEach(benchmark::State& state) {
    const auto list = compiled("{{#each(links)}}{{@indexPlusOne}}. {{label}}{{^@last}}, {{/@last}}{{/each(links)}}");
    const Value values = signatureValues();
    for (auto _ : state)
        benchmark::DoNotOptimize(text(*list, values));
}
BENCHMARK(renderWithEach);

// Twice the template, twice the time; so for compiling and for rendering.
void compileLong(benchmark::State& state) {
    std::string source;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        source += signatureSource();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    for (auto _ : state)
        benchmark::DoNotOptimize(repository->templateFromString(source));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(compileLong)->RangeMultiplier(2)->Range(1, 256)->Complexity(benchmark::oN);

void renderLong(benchmark::State& state) {
    std::string source;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        source += signatureSource();
    const auto signature = compiled(source);
    const Value values = signatureValues();
    for (auto _ : state)
        benchmark::DoNotOptimize(text(*signature, values));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(renderLong)->RangeMultiplier(2)->Range(1, 256)->Complexity(benchmark::oN);

}  // namespace
}  // namespace qs
