#include "GRMustacheTag.h"

#include "Foundation/Format.h"
#include "GRMustacheRenderingEngine.h"

namespace qs {

std::string_view GRMustacheTag::innerTemplateString() const {
    if (kind() != Kind::Section) return {};
    const auto& section = static_cast<const GRMustacheSectionTag&>(*this);
    return section.templateString().substr(section.innerRange().location, section.innerRange().length);
}

std::string GRMustacheTag::description() const {
    const char* name = kind() == Kind::Section ? "GRMustacheSectionTag" : "GRMustacheVariableTag";
    const auto line = static_cast<std::int64_t>(token_->line);
    if (!token_->templateID)
        return stringWithFormat("<%@ `%@` at line %lu>", {name, token_->templateSubstring(), line});
    return stringWithFormat("<%@ `%@` at line %lu of template %@>",
                            {name, token_->templateSubstring(), line, *token_->templateID});
}

Result<std::string> GRMustacheTag::renderContentWithContext(const GRMustacheContext& context, bool& HTMLSafe) const {
    std::string out;
    if (auto rendered = appendContentWithContext(context, out, HTMLSafe); !rendered) return failed(rendered);
    return out;
}

Result<void> GRMustacheTag::appendContentWithContext(const GRMustacheContext& context, std::string& out,
                                                     bool& HTMLSafe) const {
    return GRMustacheRenderingEngine::appendContent(*this, context, out, HTMLSafe);
}

}  // namespace qs
