// Takes HTML apart into tags, texts and comments, as the HTML standard's tokenizer does, in time linear in its length.
// https://html.spec.whatwg.org/multipage/parsing.html#tokenization
#pragma once

#include <string>
#include <string_view>

#include "Html/HtmlTree.h"

namespace qs {

struct HtmlToken {
    enum class Kind { Start, End, Text, Comment, Doctype };
    Kind kind = Kind::Text;
    std::string name;           // of a tag, lower case
    HtmlAttributes attributes;  // the first of each name; at most kMostAttributes
    bool selfClosing = false;
    // Of a text (entities decoded), a comment or a doctype. A start tag whose element holds no markup (script, style,
    // textarea) brings that content along here, and its end tag is used up with it.
    std::string text;
};

class HtmlTokenizer {
public:
    static constexpr std::size_t kMostAttributes = 64;

    explicit HtmlTokenizer(std::string_view html) : html_(html) {}  // well-formed UTF-8 that outlives this
    bool next(HtmlToken& token);                                    // false at the end

private:
    bool startTag(HtmlToken& token);
    void attribute(HtmlToken& token);
    std::string attributeValue();
    void content(HtmlToken& token);
    bool endTag(HtmlToken& token);
    void declaration(HtmlToken& token);
    void comment(HtmlToken& token);
    void text(HtmlToken& token);
    void skipSpaces();
    bool beginsMarkup(std::size_t at) const;
    std::string tagName();

    std::string_view html_;
    std::size_t at_ = 0;
};

// Text with its character references ("&amp;", "&#252;") replaced by what they stand for.
std::string decodedEntities(std::string_view text, bool inAttribute);

}  // namespace qs
