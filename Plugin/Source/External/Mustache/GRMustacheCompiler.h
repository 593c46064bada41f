// Turns tokens into a tree. The first error ends the work, and is the one that the caller gets.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GRMustacheExpressionParser.h"
#include "GRMustacheTemplateAST.h"
#include "GRMustacheTemplateParser.h"
#include "GRMustacheToken.h"

namespace qs {

// Where a compiler gets the templates that partial tags name.
class GRMustachePartials {
public:
    // The tree lives at least as long as those that the compiler makes. `baseTemplateID` is null in a template without
    // id.
    virtual Result<const GRMustacheTemplateAST*> templateASTNamed(std::string_view name,
                                                                  const std::string* baseTemplateID) = 0;

protected:
    ~GRMustachePartials() = default;
};

class GRMustacheCompiler final : public GRMustacheTemplateParserDelegate {
public:
    // Nodes are made in `arena`.
    GRMustacheCompiler(GRMustacheContentType contentType, GRMustacheArena& arena);
    void setTemplateRepository(GRMustachePartials* repository) { templateRepository_ = repository; }
    void setBaseTemplateID(const std::string* templateID) { baseTemplateID_ = templateID; }

    // When the parser is done.
    Result<GRMustacheTemplateAST> templateASTReturningError();

    bool templateParserShouldContinueAfterParsingToken(GRMustacheTemplateParser&, const GRMustacheToken&) override;
    void templateParserDidFailWithError(GRMustacheTemplateParser&, Error error) override;

private:
    // A section that is open, with the nodes behind it.
    struct Opening {
        const GRMustacheToken* token;
        const GRMustacheExpression* expression;  // the tag value of a section
        std::string_view name;                   // the tag value of the others
        std::size_t firstNode;
    };
    bool addText(const GRMustacheToken& token);
    bool addVariable(const GRMustacheToken& token);
    bool openSection(const GRMustacheToken& token);
    bool openNamed(const GRMustacheToken& token);
    bool close(const GRMustacheToken& token);
    bool closeSection(const GRMustacheToken& token, const Opening& opening);
    bool closeInheritable(const GRMustacheToken& token, const Opening& opening);
    bool closeInherited(const GRMustacheToken& token, const Opening& opening);
    bool addPartial(const GRMustacheToken& token);
    bool applyPragma(const GRMustacheToken& token);

    bool push(const GRMustacheToken* token, const GRMustacheExpression* expression, std::string_view name);
    bool closingNameFits(const GRMustacheToken& token, const Opening& opening);
    const GRMustachePartialNode* partialNamed(std::string_view name, const GRMustacheToken& token);
    GRMustacheTemplateAST takeNodesFrom(std::size_t first);
    void appendSection(const Opening& opening, std::size_t innerEnd);
    void lockContentType() { contentTypeLocked_ = true; }
    bool fail(const GRMustacheToken& at, std::string_view message);
    bool fail(Error error);

    GRMustacheArena& arena_;
    GRMustacheExpressionParser expressions_;
    GRMustacheContentType contentType_;
    bool contentTypeLocked_ = false;
    GRMustachePartials* templateRepository_ = nullptr;
    const std::string* baseTemplateID_ = nullptr;
    std::vector<const GRMustacheTemplateASTNode*> nodes_;  // of all open lists, the innermost last
    std::vector<Opening> openings_;
    std::optional<Error> fatalError_;
};

}  // namespace qs
