#include "GRMustacheCompiler.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "GRMustacheError.h"
#include "GRMustacheExpression.h"
#include "GRMustacheLimits.h"
#include "GRMustacheTag.h"

namespace qs {

using Type = GRMustacheTokenType;

namespace {

bool isSection(Type type) { return type == Type::SectionOpening || type == Type::InvertedSection; }

void assertSameSource(const GRMustacheToken& a, const GRMustacheToken& b) {
    assertThat(a.templateString.data() == b.templateString.data(),
               "Support for tokens coming from different strings is not implemented.");
}

}  // namespace

GRMustacheCompiler::GRMustacheCompiler(GRMustacheContentType contentType, GRMustacheArena& arena)
    : arena_(arena), expressions_(arena), contentType_(contentType) {
    nodes_.reserve(64);
}

bool GRMustacheCompiler::fail(Error error) {
    if (!fatalError_) fatalError_ = std::move(error);
    return false;
}

bool GRMustacheCompiler::fail(const GRMustacheToken& at, std::string_view message) {
    return fail(mustacheParseError(at, message));
}

void GRMustacheCompiler::templateParserDidFailWithError(GRMustacheTemplateParser&, Error error) {
    fail(std::move(error));
}

Result<GRMustacheTemplateAST> GRMustacheCompiler::templateASTReturningError() {
    if (!fatalError_ && !openings_.empty()) {
        const GRMustacheToken& opening = *openings_.back().token;
        fail(opening, stringWithFormat("Unclosed %@ section", {opening.templateSubstring()}));
    }
    if (fatalError_) return failure(*fatalError_);
    return takeNodesFrom(0);
}

bool GRMustacheCompiler::templateParserShouldContinueAfterParsingToken(GRMustacheTemplateParser&,
                                                                       const GRMustacheToken& token) {
    switch (token.type) {
    case Type::Text: return addText(token);
    case Type::Comment:
    case Type::SetDelimiters: return true;
    case Type::EscapedVariable:
    case Type::UnescapedVariable: return addVariable(token);
    case Type::SectionOpening:
    case Type::InvertedSection: return openSection(token);
    case Type::Closing: return close(token);
    case Type::Partial: return addPartial(token);
    case Type::Pragma: return applyPragma(token);
    case Type::InheritedPartial:
    case Type::InheritableSection: return openNamed(token);
    }
    return true;
}

bool GRMustacheCompiler::addText(const GRMustacheToken& token) {
    nodes_.push_back(arena_.make<GRMustacheTextNode>(token.templateSubstring()));
    return true;
}

bool GRMustacheCompiler::addVariable(const GRMustacheToken& token) {
    const auto* kept = arena_.make<GRMustacheToken>(token);
    bool empty = false;
    const auto expression = expressions_.parseExpression(token.tagInnerContent(), empty, kept);
    if (!expression) return fail(token, expression.error().description);
    nodes_.push_back(
        arena_.make<GRMustacheVariableTag>(*kept, **expression, contentType_, token.type == Type::EscapedVariable));
    lockContentType();
    return true;
}

bool GRMustacheCompiler::openSection(const GRMustacheToken& token) {
    const auto* kept = arena_.make<GRMustacheToken>(token);
    bool empty = false;
    const auto expression = expressions_.parseExpression(token.tagInnerContent(), empty, kept);
    if (!expression && !empty) return fail(token, expression.error().description);

    const bool hasOpposite =
        !openings_.empty() && isSection(openings_.back().token->type) && openings_.back().token->type != token.type;
    if (hasOpposite && (empty || (*expression)->isEqual(*openings_.back().expression))) {
        assertSameSource(*openings_.back().token, token);
        // The other half of the open section. The value stays, though this tag may not name it.
        appendSection(openings_.back(), token.range.location);
        openings_.back().token = kept;
        openings_.back().firstNode = nodes_.size();
        return true;
    }
    if (!expression) return fail(token, expression.error().description);
    lockContentType();
    return push(kept, *expression, {});
}

bool GRMustacheCompiler::openNamed(const GRMustacheToken& token) {
    const bool isPartial = token.type == Type::InheritedPartial;
    bool empty = false;
    const auto name = isPartial ? GRMustacheTemplateParser::parseTemplateName(token.tagInnerContent(), empty)
                                : GRMustacheTemplateParser::parseInheritableSectionName(token.tagInnerContent(), empty);
    if (!name)
        return fail(token, stringWithFormat(isPartial ? "%@ in partial tag" : "%@ in inheritable section tag",
                                            {name.error().description}));
    lockContentType();
    return push(arena_.make<GRMustacheToken>(token), nullptr, *name);
}

bool GRMustacheCompiler::push(const GRMustacheToken* token, const GRMustacheExpression* expression,
                              std::string_view name) {
    if (openings_.size() == GRMustacheLimits::openTags) return fail(*token, "Too many sections inside one another");
    openings_.push_back({token, expression, name, nodes_.size()});
    return true;
}

GRMustacheTemplateAST GRMustacheCompiler::takeNodesFrom(std::size_t first) {
    const std::size_t count = nodes_.size() - first;
    auto* kept = arena_.array<const GRMustacheTemplateASTNode*>(count);
    std::copy(nodes_.end() - static_cast<std::ptrdiff_t>(count), nodes_.end(), kept);
    nodes_.resize(first);
    return {{kept, count}, contentType_, arena_};
}

void GRMustacheCompiler::appendSection(const Opening& opening, std::size_t innerEnd) {
    const auto* inner = arena_.make<GRMustacheTemplateAST>(takeNodesFrom(opening.firstNode));
    const std::size_t innerStart = opening.token->range.end();
    nodes_.push_back(arena_.make<GRMustacheSectionTag>(*opening.token, *opening.expression,
                                                       opening.token->type == Type::InvertedSection,
                                                       GRMustacheRange{innerStart, innerEnd - innerStart}, *inner));
}

bool GRMustacheCompiler::close(const GRMustacheToken& token) {
    if (openings_.empty())
        return fail(token, stringWithFormat("Unexpected %@ closing tag", {token.templateSubstring()}));
    const Opening opening = openings_.back();
    assertSameSource(*opening.token, token);
    const bool closed = isSection(opening.token->type)                    ? closeSection(token, opening)
                        : opening.token->type == Type::InheritableSection ? closeInheritable(token, opening)
                                                                          : closeInherited(token, opening);
    openings_.pop_back();
    return closed;
}

bool GRMustacheCompiler::closeSection(const GRMustacheToken& token, const Opening& opening) {
    bool empty = false;
    const auto expression = expressions_.parseExpression(token.tagInnerContent(), empty, opening.token);
    if (!expression && !empty) return fail(token, expression.error().description);
    if (expression && !(*expression)->isEqual(*opening.expression))
        return fail(token, stringWithFormat("Unexpected %@ closing tag", {token.templateSubstring()}));
    appendSection(opening, token.range.location);
    return true;
}

bool GRMustacheCompiler::closingNameFits(const GRMustacheToken& token, const Opening& opening) {
    bool empty = false;
    const auto name = opening.token->type == Type::InheritedPartial
                          ? GRMustacheTemplateParser::parseTemplateName(token.tagInnerContent(), empty)
                          : GRMustacheTemplateParser::parseInheritableSectionName(token.tagInnerContent(), empty);
    if (!name && !empty) return fail(token, stringWithFormat("%@ in partial closing tag", {name.error().description}));
    if (name && *name != opening.name)
        return fail(token, stringWithFormat("Unexpected %@ closing tag", {token.templateSubstring()}));
    return true;
}

bool GRMustacheCompiler::closeInheritable(const GRMustacheToken& token, const Opening& opening) {
    if (!closingNameFits(token, opening)) return false;
    const auto* inner = arena_.make<GRMustacheTemplateAST>(takeNodesFrom(opening.firstNode));
    nodes_.push_back(arena_.make<GRMustacheInheritableSectionNode>(opening.name, *inner));
    return true;
}

bool GRMustacheCompiler::closeInherited(const GRMustacheToken& token, const Opening& opening) {
    if (!closingNameFits(token, opening)) return false;
    const GRMustachePartialNode* parent = partialNamed(opening.name, *opening.token);
    if (!parent) return false;
    if (!parent->templateAST().isPlaceholder() && parent->templateAST().contentType() != contentType_)
        return fail(token, "HTML safety mismatch");
    const auto* overriding = arena_.make<GRMustacheTemplateAST>(takeNodesFrom(opening.firstNode));
    nodes_.push_back(arena_.make<GRMustacheInheritedPartialNode>(*parent, *overriding));
    return true;
}

bool GRMustacheCompiler::addPartial(const GRMustacheToken& token) {
    bool empty = false;
    const auto name = GRMustacheTemplateParser::parseTemplateName(token.tagInnerContent(), empty);
    if (!name) return fail(token, stringWithFormat("%@ in partial tag", {name.error().description}));
    const GRMustachePartialNode* partial = partialNamed(*name, token);
    if (!partial) return false;
    nodes_.push_back(partial);
    lockContentType();
    return true;
}

const GRMustachePartialNode* GRMustacheCompiler::partialNamed(std::string_view name, const GRMustacheToken& token) {
    Result<const GRMustacheTemplateAST*> partial = failure(mustacheTemplateNotFound(name));
    if (templateRepository_) partial = templateRepository_->templateASTNamed(name, baseTemplateID_);
    if (partial) return arena_.make<GRMustachePartialNode>(**partial, name);
    fail(mustacheErrorAt(token, partial.error()));
    return nullptr;
}

bool GRMustacheCompiler::applyPragma(const GRMustacheToken& token) {
    const auto pragma = GRMustacheTemplateParser::parsePragma(token.tagInnerContent());
    const bool isText = pragma == "CONTENT_TYPE:TEXT", isHTML = pragma == "CONTENT_TYPE:HTML";
    if (!isText && !isHTML) return true;
    if (contentTypeLocked_)
        return fail(
            token,
            stringWithFormat("%@ pragma tag must prepend any Mustache variable, section, or partial tag.", {*pragma}));
    contentType_ = isText ? GRMustacheContentType::Text : GRMustacheContentType::HTML;
    return true;
}

}  // namespace qs
