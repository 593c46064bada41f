// The tokenizer: reads a template's source from start to end and hands each piece to its delegate.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class GRMustacheConfiguration;
class GRMustacheTemplateParser;
struct GRMustacheToken;

class GRMustacheTemplateParserDelegate {
public:
    // False stops the parse. The token is valid during the call; what it refers to lives as long as the source.
    virtual bool templateParserShouldContinueAfterParsingToken(GRMustacheTemplateParser&, const GRMustacheToken&) {
        return true;
    }
    virtual void templateParserDidFailWithError(GRMustacheTemplateParser&, Error) {}

protected:
    ~GRMustacheTemplateParserDelegate() = default;
};

class GRMustacheTemplateParser {
public:
    // Takes both delimiters from the configuration.
    explicit GRMustacheTemplateParser(const GRMustacheConfiguration& configuration);
    void setDelegate(GRMustacheTemplateParserDelegate* delegate) { delegate_ = delegate; }

    // Tokens and errors go to the delegate. The id, null for a source without one, must live as long as the source.
    void parseTemplateString(std::optional<std::string_view> templateString, const std::string* templateID);

    // The trimmed content of a tag. `empty` tells that there was nothing, which some callers accept.
    static Result<std::string_view> parseTemplateName(std::string_view content, bool& empty);
    static Result<std::string_view> parseInheritableSectionName(std::string_view content, bool& empty);
    static std::optional<std::string_view> parsePragma(std::string_view content);

private:
    struct Reading;
    enum class TagKind;
    bool emit(const GRMustacheToken& token) {
        return !delegate_ || delegate_->templateParserShouldContinueAfterParsingToken(*this, token);
    }
    void fail(Error error) {
        if (delegate_) delegate_->templateParserDidFailWithError(*this, std::move(error));
    }
    bool emitText(Reading& reading, std::size_t end);
    bool readTag(Reading& reading);
    bool setDelimiters(const GRMustacheToken& tag);

    std::string start_, end_;
    GRMustacheTemplateParserDelegate* delegate_ = nullptr;
};

}  // namespace qs
