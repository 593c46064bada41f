// Feeds templates of any bytes to the tokenizer. Its tokens must cover the source without gaps, each inner range inside
// of its tag, each line counted right.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "GRMustacheConfiguration.h"
#include "GRMustacheTemplateParser.h"
#include "GRMustacheToken.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

class Checker final : public qs::GRMustacheTemplateParserDelegate {
public:
    explicit Checker(std::string_view source) : source_(source) {}

    bool templateParserShouldContinueAfterParsingToken(qs::GRMustacheTemplateParser&,
                                                       const qs::GRMustacheToken& token) override {
        require(!failed_ && token.range.location == end_ && token.range.length > 0 &&
                token.range.end() <= source_.size());
        require(token.tagInnerRange.location >= token.range.location && token.tagInnerRange.end() <= token.range.end());
        const bool isText = token.type == qs::GRMustacheTokenType::Text;
        const std::string_view counted = source_.substr(0, isText ? token.range.end() : token.range.location);
        require(token.line == 1 + static_cast<std::size_t>(std::count(counted.begin(), counted.end(), '\n')));
        require(!(isText && wasText_));
        wasText_ = isText;
        end_ = token.range.end();
        return true;
    }
    void templateParserDidFailWithError(qs::GRMustacheTemplateParser&, qs::Error) override { failed_ = true; }
    void finish() const { require(failed_ || end_ == source_.size()); }

private:
    std::string_view source_;
    std::size_t end_ = 0;
    bool failed_ = false, wasText_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view source(reinterpret_cast<const char*>(bytes), size);
    Checker checker(source);
    qs::GRMustacheTemplateParser parser{qs::GRMustacheConfiguration()};
    parser.setDelegate(&checker);
    parser.parseTemplateString(source, nullptr);
    checker.finish();
    return 0;
}
