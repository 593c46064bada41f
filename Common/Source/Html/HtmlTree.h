// The tree behind HtmlDocument: nodes that live as long as their tree, so that a stale handle never dangles. Nothing
// here recurses, whatever the depth.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qs {

class HtmlTree;

using HtmlAttributes = std::vector<std::pair<std::string, std::string>>;

struct HtmlTreeNode {
    enum class Kind { Element, Text, Comment };
    Kind kind = Kind::Element;
    std::string text;  // an element's name in lower case, or the text
    HtmlAttributes attributes;
    HtmlTree* tree = nullptr;
    HtmlTreeNode *parent = nullptr, *first = nullptr, *last = nullptr, *next = nullptr, *previous = nullptr;

    bool isElement(std::string_view name) const { return kind == Kind::Element && text == name; }
    const std::string* attribute(std::string_view name) const;  // null for none
    void unlink();
    // Takes the child from where it was. A null reference appends. A node is never put below itself.
    void insert(HtmlTreeNode& child, HtmlTreeNode* before = nullptr);
    void removeChildren();
    // The next node in document order inside `within`, null at the end. Without children: skips those of this node.
    HtmlTreeNode* following(const HtmlTreeNode& within, bool withChildren = true) const;
    void appendContentTo(std::string& text) const;  // all text below
    void appendHtmlTo(std::string& html, bool withOuter) const;
};

class HtmlTree {
public:
    HtmlTree();
    HtmlTree(const HtmlTree&) = delete;
    HtmlTree& operator=(const HtmlTree&) = delete;

    HtmlTreeNode& make(HtmlTreeNode::Kind kind, std::string_view text);
    std::size_t size() const { return nodes_.size(); }
    HtmlTreeNode& root() { return *root_; }
    HtmlTreeNode& head() { return childOfRoot("head"); }
    HtmlTreeNode& body() { return childOfRoot("body"); }
    std::string doctype;  // as in the source, without its brackets; empty for none

private:
    HtmlTreeNode& childOfRoot(std::string_view name);  // made anew when somebody removed it
    std::deque<HtmlTreeNode> nodes_;
    HtmlTreeNode* root_;
};

// What the parser, the writer and the text view must know of elements.
enum HtmlElementTrait : unsigned {
    kVoid = 1,               // has no content and no end tag
    kClosesParagraph = 2,    // a start tag that ends an open <p>
    kSpecial = 4,            // stops the search of an end tag for its start
    kFormatting = 8,         // reopened behind what closed it too early
    kScope = 16,             // nothing inside closes what is outside
    kRawText = 32,           // the content is no markup and knows no entities
    kEscapableRawText = 64,  // the content is no markup but knows entities
    kHeadOnly = 128,         // belongs into <head> when it comes before any content
    kTablePart = 256,
    kHeading = 512,
};
unsigned htmlTraits(std::string_view name);

}  // namespace qs
