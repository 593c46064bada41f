// An HTML document with a small DOM: what mail bodies and the compose window's body are. Parsing never fails (broken
// markup is repaired as browsers do, roughly) and is bounded in depth and size; text is UTF-8 and a meta charset inside
// is ignored. One thread at a time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qs {

class HtmlDocument;

// A handle to a node of a document: cheap to copy, null when made by default, not valid beyond its document or after
// the node (or one above it) was removed.
class HtmlNode {
public:
    HtmlNode() = default;
    explicit operator bool() const { return node_ != nullptr; }
    friend bool operator==(HtmlNode a, HtmlNode b) { return a.node_ == b.node_; }

    bool isElement() const;
    bool isText() const;
    std::string name() const;                            // element name in lower case; empty for others
    std::string attribute(std::string_view name) const;  // "" when missing
    bool hasAttribute(std::string_view name) const;
    std::vector<std::pair<std::string, std::string>> attributes() const;
    void setAttribute(std::string_view name, std::string_view value);
    void removeAttribute(std::string_view name);
    std::string textContent() const;
    void setTextContent(std::string_view text);  // of a text node, or all children of an element

    HtmlNode parent() const;
    HtmlNode firstChild() const;
    HtmlNode nextSibling() const;
    HtmlNode previousSibling() const;
    std::vector<HtmlNode> children() const;
    std::vector<HtmlNode> elementsByTagName(std::string_view name) const;  // "*" for all; in document order
    std::vector<HtmlNode> elementsByClassName(std::string_view name) const;

    // New or moved nodes; the node is taken from where it was.
    void appendChild(HtmlNode child);
    void insertBefore(HtmlNode child, HtmlNode reference);  // a null reference appends
    void remove();                                          // with all below it
    void replaceWithChildren();                             // the children take its place
    void setInnerHtml(std::string_view html);
    std::string innerHtml() const;
    std::string outerHtml() const;

private:
    friend class HtmlDocument;
    explicit HtmlNode(void* node) : node_(node) {}
    void* node_ = nullptr;
};

class HtmlDocument {
public:
    HtmlDocument();  // <html><head></head><body></body></html>
    explicit HtmlDocument(std::string_view html);
    ~HtmlDocument();
    HtmlDocument(HtmlDocument&&) noexcept;
    HtmlDocument& operator=(HtmlDocument&&) noexcept;

    void setHtml(std::string_view html);  // all nodes of before become invalid
    HtmlNode root() const;
    HtmlNode head() const;
    HtmlNode body() const;  // always there
    HtmlNode elementById(std::string_view id) const;
    HtmlNode createElement(std::string_view name);
    HtmlNode createText(std::string_view text);
    std::string html() const;      // the whole document
    std::string bodyHtml() const;  // inside of the body
    // What a person reads: paragraphs and line breaks kept, links followed by their address where it differs,
    // quotations marked with "> ".
    std::string plainText() const;

private:
    struct Held;
    std::unique_ptr<Held> held_;
};

}  // namespace qs
