// A variable or section tag, as tag delegates and objects that render themselves see it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "GRMustacheTemplateAST.h"
#include "GRMustacheToken.h"

namespace qs {

class GRMustacheContext;
class GRMustacheExpression;

enum class GRMustacheTagType : std::uint8_t { Variable = 2, Section = 4 };

class GRMustacheTag : public GRMustacheTemplateASTNode {
public:
    GRMustacheTagType type() const {
        return kind() == Kind::Section ? GRMustacheTagType::Section : GRMustacheTagType::Variable;
    }
    bool isInverted() const { return inverted_; }
    // The source between the tags of a section; empty for a variable tag.
    std::string_view innerTemplateString() const;
    // Such as "<GRMustacheVariableTag `{{name}}` at line 3 of template x>".
    std::string description() const;
    // The content of a section, rendered; nothing for a variable tag. `HTMLSafe` tells whether it is HTML.
    Result<std::string> renderContentWithContext(const GRMustacheContext& context, bool& HTMLSafe) const;
    // The same, at the end of `out`; what a failure leaves there counts for nothing.
    Result<void> appendContentWithContext(const GRMustacheContext& context, std::string& out, bool& HTMLSafe) const;

    const GRMustacheExpression& expression() const { return *expression_; }
    const GRMustacheToken& token() const { return *token_; }
    bool escapesHTML() const { return escapesHTML_; }
    GRMustacheContentType contentType() const { return contentType_; }

protected:
    GRMustacheTag(Kind kind, const GRMustacheToken& token, const GRMustacheExpression& expression,
                  GRMustacheContentType contentType, bool escapesHTML, bool inverted)
        : GRMustacheTemplateASTNode(kind),
          inverted_(inverted),
          escapesHTML_(escapesHTML),
          contentType_(contentType),
          token_(&token),
          expression_(&expression) {}

private:
    bool inverted_, escapesHTML_;
    GRMustacheContentType contentType_;
    const GRMustacheToken* token_;
    const GRMustacheExpression* expression_;
};

class GRMustacheVariableTag final : public GRMustacheTag {
public:
    GRMustacheVariableTag(const GRMustacheToken& token, const GRMustacheExpression& expression,
                          GRMustacheContentType contentType, bool escapesHTML)
        : GRMustacheTag(Kind::Variable, token, expression, contentType, escapesHTML, false) {}
};

class GRMustacheSectionTag final : public GRMustacheTag {
public:
    GRMustacheSectionTag(const GRMustacheToken& token, const GRMustacheExpression& expression, bool inverted,
                         GRMustacheRange innerRange, const GRMustacheTemplateAST& inner)
        : GRMustacheTag(Kind::Section, token, expression, inner.contentType(), true, inverted),
          innerRange_(innerRange),
          inner_(&inner) {}
    std::string_view templateString() const { return token().templateString; }
    const GRMustacheRange& innerRange() const { return innerRange_; }
    const GRMustacheTemplateAST& innerTemplateAST() const { return *inner_; }

private:
    GRMustacheRange innerRange_;
    const GRMustacheTemplateAST* inner_;
};

}  // namespace qs
