#include "Html/HtmlTree.h"

#include <algorithm>
#include <array>

namespace qs {

namespace {

struct Traits {
    std::string_view name;
    unsigned traits;
};

constexpr unsigned kBlock = kClosesParagraph | kSpecial;

constexpr std::array kTraits = {
    Traits{"a", kFormatting},
    Traits{"address", kBlock},
    Traits{"applet", kSpecial | kScope},
    Traits{"area", kVoid | kSpecial},
    Traits{"article", kBlock},
    Traits{"aside", kBlock},
    Traits{"b", kFormatting},
    Traits{"base", kVoid | kSpecial | kHeadOnly},
    Traits{"basefont", kVoid | kSpecial | kHeadOnly},
    Traits{"bgsound", kVoid | kSpecial | kHeadOnly},
    Traits{"big", kFormatting},
    Traits{"blockquote", kBlock},
    Traits{"body", kSpecial},
    Traits{"br", kVoid | kSpecial},
    Traits{"button", kSpecial},
    Traits{"caption", kSpecial | kScope | kTablePart},
    Traits{"center", kBlock},
    Traits{"code", kFormatting},
    Traits{"col", kVoid | kSpecial | kTablePart},
    Traits{"colgroup", kSpecial | kTablePart},
    Traits{"dd", kBlock},
    Traits{"details", kBlock},
    Traits{"dialog", kBlock},
    Traits{"dir", kBlock},
    Traits{"div", kBlock},
    Traits{"dl", kBlock},
    Traits{"dt", kBlock},
    Traits{"em", kFormatting},
    Traits{"embed", kVoid | kSpecial},
    Traits{"fieldset", kBlock},
    Traits{"figcaption", kBlock},
    Traits{"figure", kBlock},
    Traits{"font", kFormatting},
    Traits{"footer", kBlock},
    Traits{"form", kBlock},
    Traits{"frame", kVoid | kSpecial},
    Traits{"h1", kBlock | kHeading},
    Traits{"h2", kBlock | kHeading},
    Traits{"h3", kBlock | kHeading},
    Traits{"h4", kBlock | kHeading},
    Traits{"h5", kBlock | kHeading},
    Traits{"h6", kBlock | kHeading},
    Traits{"head", kSpecial},
    Traits{"header", kBlock},
    Traits{"hgroup", kBlock},
    Traits{"hr", kVoid | kBlock},
    Traits{"html", kSpecial | kScope},
    Traits{"i", kFormatting},
    Traits{"iframe", kSpecial | kRawText},
    Traits{"img", kVoid | kSpecial},
    Traits{"input", kVoid | kSpecial},
    Traits{"keygen", kVoid | kSpecial},
    Traits{"li", kBlock},
    Traits{"link", kVoid | kSpecial | kHeadOnly},
    Traits{"listing", kBlock},
    Traits{"main", kBlock},
    Traits{"marquee", kSpecial | kScope},
    Traits{"menu", kBlock},
    Traits{"meta", kVoid | kSpecial | kHeadOnly},
    Traits{"nav", kBlock},
    Traits{"nobr", kFormatting},
    Traits{"noembed", kSpecial | kRawText},
    Traits{"noframes", kSpecial | kRawText},
    Traits{"object", kSpecial | kScope},
    Traits{"ol", kBlock},
    Traits{"p", kBlock},
    Traits{"param", kVoid | kSpecial},
    Traits{"plaintext", kBlock | kRawText},
    Traits{"pre", kBlock},
    Traits{"s", kFormatting},
    Traits{"script", kSpecial | kRawText | kHeadOnly},
    Traits{"section", kBlock},
    Traits{"select", kSpecial | kScope},
    Traits{"small", kFormatting},
    Traits{"source", kVoid | kSpecial},
    Traits{"strike", kFormatting},
    Traits{"strong", kFormatting},
    Traits{"style", kSpecial | kRawText | kHeadOnly},
    Traits{"summary", kBlock},
    Traits{"table", kBlock | kScope},
    Traits{"tbody", kSpecial | kTablePart},
    Traits{"td", kSpecial | kScope | kTablePart},
    Traits{"template", kSpecial | kScope},
    Traits{"textarea", kSpecial | kEscapableRawText},
    Traits{"tfoot", kSpecial | kTablePart},
    Traits{"th", kSpecial | kScope | kTablePart},
    Traits{"thead", kSpecial | kTablePart},
    Traits{"title", kSpecial | kEscapableRawText | kHeadOnly},
    Traits{"tr", kSpecial | kTablePart},
    Traits{"track", kVoid | kSpecial},
    Traits{"tt", kFormatting},
    Traits{"u", kFormatting},
    Traits{"ul", kBlock},
    Traits{"wbr", kVoid | kSpecial},
    Traits{"xmp", kBlock | kRawText},
};
static_assert(std::is_sorted(kTraits.begin(), kTraits.end(),
                             [](const Traits& a, const Traits& b) { return a.name < b.name; }));

void appendEscaped(std::string& out, std::string_view text, bool inAttribute) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"' && inAttribute)
            out += "&quot;";
        else if (c == '\r')
            out += "&#13;";  // by itself it would be read as a line end
        else if (text.substr(i).starts_with("\xC2\xA0")) {
            out += "&nbsp;";
            ++i;
        } else
            out += c;
    }
}

// "</" would end the element early; a backslash before the slash means the same to scripts and style sheets.
void appendRaw(std::string& out, std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (text[i] == '<' && i + 1 < text.size() && text[i + 1] == '/') out += '\\';
    }
}

void appendText(std::string& out, const HtmlTreeNode& node) {
    const unsigned traits = node.parent ? htmlTraits(node.parent->text) : 0;
    // The parser drops a line end that follows one of these start tags.
    const bool isFirst = node.parent && node.parent->first == &node;
    if (isFirst && node.text.starts_with('\n') &&
        (node.parent->text == "pre" || node.parent->text == "listing" || node.parent->text == "textarea"))
        out += '\n';
    if (traits & kRawText)
        appendRaw(out, node.text);
    else
        appendEscaped(out, node.text, false);
}

void appendStartTag(std::string& out, const HtmlTreeNode& node) {
    out += '<';
    out += node.text;
    for (const auto& [name, value] : node.attributes) {
        out += ' ';
        out += name;
        out += "=\"";
        appendEscaped(out, value, true);
        out += '"';
    }
    out += '>';
}

}  // namespace

unsigned htmlTraits(std::string_view name) {
    const auto found =
        std::lower_bound(kTraits.begin(), kTraits.end(), name,
                         [](const Traits& entry, std::string_view wanted) { return entry.name < wanted; });
    return found != kTraits.end() && found->name == name ? found->traits : 0;
}

const std::string* HtmlTreeNode::attribute(std::string_view name) const {
    for (const auto& [key, value] : attributes)
        if (key == name) return &value;
    return nullptr;
}

void HtmlTreeNode::unlink() {
    if (!parent) return;
    (previous ? previous->next : parent->first) = next;
    (next ? next->previous : parent->last) = previous;
    parent = next = previous = nullptr;
}

void HtmlTreeNode::insert(HtmlTreeNode& child, HtmlTreeNode* before) {
    for (const HtmlTreeNode* node = this; node; node = node->parent)
        if (node == &child) return;
    if (before == &child) return;
    if (before && before->parent != this) before = nullptr;
    child.unlink();
    child.parent = this;
    child.next = before;
    child.previous = before ? before->previous : last;
    (child.previous ? child.previous->next : first) = &child;
    (before ? before->previous : last) = &child;
}

void HtmlTreeNode::removeChildren() {
    while (first)
        first->unlink();
}

HtmlTreeNode* HtmlTreeNode::following(const HtmlTreeNode& within, bool withChildren) const {
    if (withChildren && first) return first;
    for (const HtmlTreeNode* node = this; node && node != &within; node = node->parent)
        if (node->next) return node->next;
    return nullptr;
}

void HtmlTreeNode::appendContentTo(std::string& content) const {
    for (const HtmlTreeNode* node = this; node; node = node->following(*this))
        if (node->kind == Kind::Text) content += node->text;
}

void HtmlTreeNode::appendHtmlTo(std::string& html, bool withOuter) const {
    const HtmlTreeNode* node = this;
    for (;;) {
        if (node != this || withOuter) {
            if (node->kind == Kind::Text)
                appendText(html, *node);
            else if (node->kind == Kind::Comment)
                html += "<!--" + node->text + "-->";
            else
                appendStartTag(html, *node);
        }
        if (node->first && !(htmlTraits(node->text) & kVoid)) {
            node = node->first;
            continue;
        }
        for (;; node = node->parent) {
            const bool closes = node->kind == Kind::Element && !(htmlTraits(node->text) & kVoid);
            if (closes && (node != this || withOuter)) html += "</" + node->text + ">";
            if (node == this) return;
            if (node->next) break;
        }
        node = node->next;
    }
}

HtmlTree::HtmlTree() : root_(&make(HtmlTreeNode::Kind::Element, "html")) {
    head();
    body();
}

HtmlTreeNode& HtmlTree::make(HtmlTreeNode::Kind kind, std::string_view text) {
    HtmlTreeNode& node = nodes_.emplace_back();
    node.kind = kind;
    node.text = text;
    node.tree = this;
    return node;
}

HtmlTreeNode& HtmlTree::childOfRoot(std::string_view name) {
    for (HtmlTreeNode* node = root_->first; node; node = node->next)
        if (node->isElement(name)) return *node;
    HtmlTreeNode& made = make(HtmlTreeNode::Kind::Element, name);
    root_->insert(made, name == "head" ? root_->first : nullptr);
    return made;
}

}  // namespace qs
