#include "Html/HtmlDocument.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Html/HtmlPlainText.h"
#include "Html/HtmlTree.h"
#include "Html/HtmlTreeBuilder.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

HtmlTreeNode* treeNode(void* node) { return static_cast<HtmlTreeNode*>(node); }

// A name that cannot break out of its tag.
std::string cleanedName(std::string_view name) {
    std::string cleaned;
    for (const char c : name) {
        const bool isOdd = isAsciiSpace(c) || isAsciiControl(c) || c == '/' || c == '>' || c == '<' || c == '"' ||
                           c == '\'' || c == '=';
        if (!isOdd) cleaned += asciiLower(c);
    }
    return cleaned;
}

bool hasClass(const HtmlTreeNode& node, std::string_view name) {
    const std::string* value = node.attribute("class");
    if (!value) return false;
    std::string_view rest = *value;
    while (!rest.empty()) {
        rest = trimmedAscii(rest);
        const std::size_t end = std::min(rest.find_first_of(" \t\r\n\f"), rest.size());
        if (rest.substr(0, end) == name && end > 0) return true;
        rest.remove_prefix(end);
    }
    return false;
}

template <class Wanted>
std::vector<HtmlTreeNode*> nodesBelow(HtmlTreeNode* top, Wanted wanted) {
    std::vector<HtmlTreeNode*> found;
    if (!top) return found;
    for (HtmlTreeNode* node = top->following(*top); node; node = node->following(*top))
        if (node->kind == HtmlTreeNode::Kind::Element && wanted(*node)) found.push_back(node);
    return found;
}

}  // namespace

bool HtmlNode::isElement() const { return node_ && treeNode(node_)->kind == HtmlTreeNode::Kind::Element; }
bool HtmlNode::isText() const { return node_ && treeNode(node_)->kind == HtmlTreeNode::Kind::Text; }

std::string HtmlNode::name() const { return isElement() ? treeNode(node_)->text : std::string(); }

std::string HtmlNode::attribute(std::string_view name) const {
    const std::string* value = isElement() ? treeNode(node_)->attribute(asciiLowered(name)) : nullptr;
    return value ? *value : std::string();
}

bool HtmlNode::hasAttribute(std::string_view name) const {
    return isElement() && treeNode(node_)->attribute(asciiLowered(name)) != nullptr;
}

std::vector<std::pair<std::string, std::string>> HtmlNode::attributes() const {
    return isElement() ? treeNode(node_)->attributes : HtmlAttributes();
}

void HtmlNode::setAttribute(std::string_view name, std::string_view value) {
    const std::string cleaned = cleanedName(name);
    if (!isElement() || cleaned.empty()) return;
    HtmlAttributes& attributes = treeNode(node_)->attributes;
    const auto found =
        std::find_if(attributes.begin(), attributes.end(), [&](const auto& a) { return a.first == cleaned; });
    if (found != attributes.end())
        found->second = validUtf8(value);
    else
        attributes.emplace_back(cleaned, validUtf8(value));
}

void HtmlNode::removeAttribute(std::string_view name) {
    if (!isElement()) return;
    std::erase_if(treeNode(node_)->attributes, [&](const auto& a) { return equalsIgnoringCase(a.first, name); });
}

std::string HtmlNode::textContent() const {
    std::string text;
    if (node_) treeNode(node_)->appendContentTo(text);
    return text;
}

void HtmlNode::setTextContent(std::string_view text) {
    if (!node_) return;
    HtmlTreeNode& node = *treeNode(node_);
    if (node.kind != HtmlTreeNode::Kind::Element) {
        node.text = validUtf8(text);
        return;
    }
    node.removeChildren();
    if (!text.empty()) node.insert(node.tree->make(HtmlTreeNode::Kind::Text, validUtf8(text)));
}

HtmlNode HtmlNode::parent() const { return HtmlNode(node_ ? treeNode(node_)->parent : nullptr); }
HtmlNode HtmlNode::firstChild() const { return HtmlNode(node_ ? treeNode(node_)->first : nullptr); }
HtmlNode HtmlNode::nextSibling() const { return HtmlNode(node_ ? treeNode(node_)->next : nullptr); }
HtmlNode HtmlNode::previousSibling() const { return HtmlNode(node_ ? treeNode(node_)->previous : nullptr); }

std::vector<HtmlNode> HtmlNode::children() const {
    std::vector<HtmlNode> nodes;
    for (HtmlNode child = firstChild(); child; child = child.nextSibling())
        nodes.push_back(child);
    return nodes;
}

std::vector<HtmlNode> HtmlNode::elementsByTagName(std::string_view name) const {
    const std::string wanted = asciiLowered(name);
    std::vector<HtmlNode> nodes;
    for (HtmlTreeNode* node :
         nodesBelow(treeNode(node_), [&](const HtmlTreeNode& n) { return wanted == "*" || n.text == wanted; }))
        nodes.push_back(HtmlNode(node));
    return nodes;
}

std::vector<HtmlNode> HtmlNode::elementsByClassName(std::string_view name) const {
    std::vector<HtmlNode> nodes;
    for (HtmlTreeNode* node : nodesBelow(treeNode(node_), [&](const HtmlTreeNode& n) { return hasClass(n, name); }))
        nodes.push_back(HtmlNode(node));
    return nodes;
}

void HtmlNode::appendChild(HtmlNode child) { insertBefore(child, HtmlNode()); }

void HtmlNode::insertBefore(HtmlNode child, HtmlNode reference) {
    if (!isElement() || !child) return;
    assertThat(treeNode(child.node_)->tree == treeNode(node_)->tree, "A node belongs to the document that made it");
    treeNode(node_)->insert(*treeNode(child.node_), treeNode(reference.node_));
}

void HtmlNode::remove() {
    if (node_) treeNode(node_)->unlink();
}

void HtmlNode::replaceWithChildren() {
    HtmlTreeNode* node = treeNode(node_);
    if (!node || !node->parent) return;
    while (node->first)
        node->parent->insert(*node->first, node);
    node->unlink();
}

void HtmlNode::setInnerHtml(std::string_view html) {
    if (!isElement()) return;
    HtmlTreeNode& node = *treeNode(node_);
    if (htmlTraits(node.text) & (kRawText | kEscapableRawText)) return setTextContent(html);
    node.removeChildren();
    HtmlTreeBuilder::buildFragment(node, html);
}

std::string HtmlNode::innerHtml() const {
    std::string html;
    if (node_) treeNode(node_)->appendHtmlTo(html, false);
    return html;
}

std::string HtmlNode::outerHtml() const {
    std::string html;
    if (node_) treeNode(node_)->appendHtmlTo(html, true);
    return html;
}

struct HtmlDocument::Held {
    std::unique_ptr<HtmlTree> tree = std::make_unique<HtmlTree>();
};

HtmlDocument::HtmlDocument() : held_(std::make_unique<Held>()) {}
HtmlDocument::HtmlDocument(std::string_view html) : HtmlDocument() { setHtml(html); }
HtmlDocument::~HtmlDocument() = default;
HtmlDocument::HtmlDocument(HtmlDocument&&) noexcept = default;
HtmlDocument& HtmlDocument::operator=(HtmlDocument&&) noexcept = default;

void HtmlDocument::setHtml(std::string_view html) {
    auto tree = std::make_unique<HtmlTree>();
    HtmlTreeBuilder::buildDocument(*tree, html);
    held_->tree = std::move(tree);
}

HtmlNode HtmlDocument::root() const { return HtmlNode(&held_->tree->root()); }
HtmlNode HtmlDocument::head() const { return HtmlNode(&held_->tree->head()); }
HtmlNode HtmlDocument::body() const { return HtmlNode(&held_->tree->body()); }

HtmlNode HtmlDocument::elementById(std::string_view id) const {
    HtmlTreeNode& root = held_->tree->root();
    for (HtmlTreeNode* node = &root; node; node = node->following(root)) {
        const std::string* value = node->attribute("id");
        if (value && *value == id && !id.empty()) return HtmlNode(node);
    }
    return {};
}

HtmlNode HtmlDocument::createElement(std::string_view name) {
    const std::string cleaned = cleanedName(name);
    assertThat(!cleaned.empty() && isAsciiLetter(cleaned.front()), "An element needs a name that begins with a letter");
    return HtmlNode(&held_->tree->make(HtmlTreeNode::Kind::Element, cleaned));
}

HtmlNode HtmlDocument::createText(std::string_view text) {
    return HtmlNode(&held_->tree->make(HtmlTreeNode::Kind::Text, validUtf8(text)));
}

std::string HtmlDocument::html() const {
    const HtmlTree& tree = *held_->tree;
    std::string html = tree.doctype.empty() ? "" : "<!" + tree.doctype + ">";
    held_->tree->root().appendHtmlTo(html, true);
    return html;
}

std::string HtmlDocument::bodyHtml() const { return body().innerHtml(); }

std::string HtmlDocument::plainText() const { return htmlPlainText(held_->tree->body()); }

}  // namespace qs
