#include "Html/HtmlPlainText.h"

#include <algorithm>
#include <vector>

#include "Text/Ascii.h"

namespace qs {

namespace {

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isUnseen(const HtmlTreeNode& node) {
    return isOneOf(node.text, {"head", "script", "style", "title", "template", "noframes", "noembed", "iframe",
                               "select", "textarea", "object"});
}

// Apart from what stands before and behind by an empty line.
bool standsApart(std::string_view name) {
    return isOneOf(name, {"p", "h1", "h2", "h3", "h4", "h5", "h6", "blockquote", "pre", "ul", "ol", "dl", "table"});
}

bool startsLine(std::string_view name) {
    const unsigned traits = htmlTraits(name);
    return (traits & kClosesParagraph) || isOneOf(name, {"tr", "caption", "body", "option"});
}

// Blanks and line ends count: in "pre", and in what is styled like it, as plain text that became HTML is.
bool keepsBlanks(const HtmlTreeNode& node) {
    if (node.text == "pre") return true;
    const std::string* const style = node.attribute("style");
    if (!style) return false;
    const std::size_t found = asciiLowered(*style).find("white-space");
    if (found == std::string::npos) return false;
    std::string_view rest = trimmedAscii(std::string_view(*style).substr(found + 11));
    if (!rest.starts_with(':')) return false;
    rest = trimmedAscii(rest.substr(1));
    return startsWithIgnoringCase(rest, "pre") && !startsWithIgnoringCase(rest, "pre-line");
}

constexpr int kDeepestQuotation = 300;  // the parser stops before

class Writer {
public:
    std::string run(const HtmlTreeNode& top) {
        const HtmlTreeNode* node = &top;
        for (;;) {
            const bool seen = node->kind != HtmlTreeNode::Kind::Element || !isUnseen(*node);
            if (seen) enter(*node);
            if (seen && node->first) {
                node = node->first;
                continue;
            }
            if (seen) leave(*node);
            while (node != &top && !node->next) {
                node = node->parent;
                leave(*node);
            }
            if (node == &top) break;
            node = node->next;
        }
        while (!out_.empty() && isAsciiSpace(out_.back()))
            out_.pop_back();
        if (!out_.empty()) out_ += '\n';
        return std::move(out_);
    }

private:
    void enter(const HtmlTreeNode& node) {
        if (node.kind == HtmlTreeNode::Kind::Text) return preformatted_ > 0 ? verbatim(node.text) : flow(node.text);
        if (node.kind != HtmlTreeNode::Kind::Element) return;
        const std::string_view name = node.text;
        if (name == "br") return lineBreak();
        if (startsLine(name)) breakTo(standsApart(name) && !isInItem(node) ? 2 : 1);
        if (name == "blockquote") quotes_ = std::min(quotes_ + 1, kDeepestQuotation);
        if (keepsBlanks(node)) ++preformatted_;
        if (name == "hr") words("----------");
        if (name == "ol" || name == "ul") numbers_.push_back(name == "ol" ? 1 : 0);
        if (name == "li") mark();
        if (isOneOf(name, {"td", "th"}) && node.previous && !atLineStart()) pendingSpace_ = true;
        if (name == "img")
            if (const std::string* text = node.attribute("alt")) flow(*text);
        if (name == "a") links_.emplace_back();
    }

    void leave(const HtmlTreeNode& node) {
        if (node.kind != HtmlTreeNode::Kind::Element) return;
        const std::string_view name = node.text;
        if (name == "a") address(node);
        if (keepsBlanks(node)) --preformatted_;
        if (startsLine(name)) breakTo(standsApart(name) && !isInItem(node) ? 2 : 1);
        if (name == "blockquote") quotes_ = std::max(quotes_ - 1, 0);
        if (name == "ol" || name == "ul") numbers_.pop_back();
    }

    static bool isInItem(const HtmlTreeNode& node) {
        return isOneOf(node.text, {"ul", "ol", "p"}) && node.parent && node.parent->isElement("li");
    }

    void mark() {
        const bool numbered = !numbers_.empty() && numbers_.back() > 0;
        const std::size_t depth = numbers_.empty() ? 0 : std::min<std::size_t>(numbers_.size() - 1, 8);
        words(std::string(2 * depth, ' ') + (numbered ? std::to_string(numbers_.back()++) + "." : "*"));
        pendingSpace_ = true;
        afterMark_ = true;
    }

    // The address of a link whose text doesn't say it already.
    void address(const HtmlTreeNode& node) {
        const std::string shown = std::move(links_.back());
        links_.pop_back();
        const std::string* href = node.attribute("href");
        if (!href) return;
        std::string_view target = trimmedAscii(*href);
        if (startsWithIgnoringCase(target, "mailto:")) target.remove_prefix(7);
        const bool isWorthIt = startsWithIgnoringCase(target, "http://") ||
                               startsWithIgnoringCase(target, "https://") || target.find('@') != std::string_view::npos;
        const auto bare = [](std::string_view text) {
            text = text.substr(text.find("://") == std::string_view::npos ? 0 : text.find("://") + 3);
            return text.ends_with('/') ? text.substr(0, text.size() - 1) : text;
        };
        if (!isWorthIt || shown.empty() || bare(shown) == bare(target)) return;
        pendingSpace_ = true;
        words("<" + std::string(target) + ">");
    }

    // Blanks run together, as a browser shows them.
    void flow(std::string_view text) {
        std::size_t at = 0;
        while (at < text.size()) {
            if (isAsciiSpace(text[at])) {
                pendingSpace_ = true;
                ++at;
                continue;
            }
            std::size_t end = at;
            while (end < text.size() && !isAsciiSpace(text[end]))
                ++end;
            words(text.substr(at, end - at));
            at = end;
        }
    }

    void verbatim(std::string_view text) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            if (end > 0) words(text.substr(0, end));
            if (end == text.size()) return;
            lineBreak();
            text.remove_prefix(end + 1);
        }
    }

    void words(std::string_view text) {
        if (atLineStart())
            beginLine();
        else if (pendingSpace_)
            out_ += ' ';
        if (!links_.empty()) links_.back() += (pendingSpace_ && !links_.back().empty() ? " " : "") + std::string(text);
        pendingSpace_ = afterMark_ = false;
        // A no-break space is a space to a reader of plain text.
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool isNoBreak = text.substr(i).starts_with("\xC2\xA0");
            out_ += isNoBreak ? ' ' : text[i];
            if (isNoBreak) ++i;
        }
    }

    bool atLineStart() const { return out_.empty() || lineEnds_ > 0; }

    void beginLine() {
        for (; lineEnds_ > 0; --lineEnds_) {
            out_ += '\n';
            if (lineEnds_ > 1)  // an empty line of a quotation, unless it stands at its border
                for (int i = 0; i < std::min(quotes_, lastQuotes_); ++i)
                    out_ += i == 0 ? ">" : " >";
        }
        for (int i = 0; i < quotes_; ++i)
            out_ += "> ";
        lastQuotes_ = quotes_;
    }

    void lineBreak() {
        if (!out_.empty()) lineEnds_ = std::min(lineEnds_ + 1, 10);
        pendingSpace_ = afterMark_ = false;
    }

    // Ends the line, and leaves an empty one for two line ends.
    void breakTo(int lineEnds) {
        if (out_.empty() || afterMark_) return;
        lineEnds_ = std::max(lineEnds_, lineEnds);
        pendingSpace_ = false;
    }

    std::string out_;
    int quotes_ = 0, lastQuotes_ = 0, preformatted_ = 0;
    int lineEnds_ = 0;  // to be written before the next words
    bool pendingSpace_ = false, afterMark_ = false;
    std::vector<int> numbers_;        // of the open lists: the next number, 0 for a list without
    std::vector<std::string> links_;  // the texts of open links
};

}  // namespace

std::string htmlPlainText(const HtmlTreeNode& top) { return Writer().run(top); }

}  // namespace qs
