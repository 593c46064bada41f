// Builds a tree from markup, repairing it as browsers do in all but rare cases: implied ends of paragraphs, list items
// and table parts, text that stands loose in a table put before it, formatting carried on behind a tag that was closed
// too early. (The full rules: https://html.spec.whatwg.org/multipage/parsing.html#tree-construction)
// What is special about tables is in HtmlTables.cpp.
//
// What is hostile stays bounded: time is linear in the length, depth and number of nodes have limits, beyond which the
// text is kept and the tags are not.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Html/HtmlTokenizer.h"
#include "Html/HtmlTree.h"

namespace qs {

class HtmlTreeBuilder {
public:
    static constexpr std::size_t kLargestSource = std::size_t{32} << 20;  // bytes; what is beyond is dropped
    static constexpr std::size_t kDeepest = 256;
    static constexpr std::size_t kMostNodes = 300'000;

    static void buildDocument(HtmlTree& tree, std::string_view html);
    // The markup as the content of an element, behind what it has.
    static void buildFragment(HtmlTreeNode& element, std::string_view html);

private:
    // An element that is not closed yet.
    struct Open {
        HtmlTreeNode* node = nullptr;
        unsigned traits = 0;
        std::size_t holder = 0;          // the place of the open element that it lies in: not always the one before
        bool closesWithContent = false;  // its end tag came while a block inside was still open
        std::vector<HtmlTreeNode*> outerFormatting;
    };

    explicit HtmlTreeBuilder(HtmlTree& tree) : tree_(tree), nodeLimit_(tree.size() + kMostNodes) {}
    void run(std::string_view html);
    void start(HtmlToken& token);
    void startInBody(HtmlToken& token);
    void startTablePart(HtmlToken& token);
    void startTable(HtmlToken& token);
    void startFormatting(HtmlToken& token);
    void closeForStart(const HtmlToken& token);
    void end(const HtmlToken& token);
    void endFormatting(const HtmlToken& token);
    void endOther(const HtmlToken& token);
    void text(std::string_view text);
    void enterBody();

    HtmlTreeNode& current() { return *open_.back().node; }
    bool hasRoom() const { return tree_.size() < nodeLimit_; }
    bool standsInTable() const;
    HtmlTreeNode* fosterPlace() const;  // before which what may not stand in a table goes; null for nowhere
    void leaveForeign(std::string_view name);
    HtmlTreeNode& insert(HtmlTreeNode& node);
    HtmlTreeNode* insertElement(HtmlToken& token);  // null when the limit of nodes is reached
    void push(HtmlTreeNode& node);
    bool endsTooDeep(std::string_view name);
    void pushImplied(std::string_view name);
    void pop();
    void popTo(std::size_t index);  // this one too; formatting elements are carried on
    void popUntilOneOf(std::initializer_list<std::string_view> names);
    // The place of the innermost open element of that name with nothing that shields it in between; npos for none.
    std::size_t find(std::string_view name, unsigned shield, std::string_view extraShield = {}) const;
    std::size_t findTable() const;
    // The same as find(), outwards from where the next element will lie: what is put before a table lies in what holds
    // the table, and ends what it would end there, or it would be read otherwise the next time.
    std::size_t findAround(std::string_view name, unsigned shield, std::string_view extraShield = {}) const;
    std::size_t nextHolder() const;
    bool leavesTable(std::size_t index) const;
    void closeParagraph();
    void reopenFormatting();

    static bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names);

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    HtmlTree& tree_;
    const std::size_t nodeLimit_;
    std::vector<Open> open_;
    std::vector<HtmlTreeNode*> formatting_;  // closed too early, to be carried on with the next content
    bool inHead_ = false;
    bool dropsLineEnd_ = false;
    int foreign_ = 0;                   // open svg and math elements
    std::vector<std::string> tooDeep_;  // names of elements that were left empty at the limit of depth
};

}  // namespace qs
