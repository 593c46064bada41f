// Tables in a tree that is built: which parts imply others, and where things go that stand loose in a table.
#include "Html/HtmlTreeBuilder.h"

namespace qs {

void HtmlTreeBuilder::startTable(HtmlToken& token) {
    if (standsInTable() && current().text != "template") {
        if (const std::size_t outer = find("table", 0, "template"); outer != kNone) popTo(outer);
    }
    closeParagraph();
    if (HtmlTreeNode* made = insertElement(token)) push(*made);
}

void HtmlTreeBuilder::startTablePart(HtmlToken& token) {
    const std::string_view name = token.name;
    const std::size_t table = findTable();
    if (table == kNone) return;  // as browsers do: a part without its table is dropped, its content stays
    if (isOneOf(name, {"td", "th"}))
        popUntilOneOf({"tr", "tbody", "thead", "tfoot", "table"});
    else if (name == "tr")
        popUntilOneOf({"tbody", "thead", "tfoot", "table"});
    else if (name == "col")
        popUntilOneOf({"colgroup", "table"});
    else
        popUntilOneOf({"table"});
    if (isOneOf(name, {"td", "th", "tr"}) && current().isElement("table")) pushImplied("tbody");
    if (isOneOf(name, {"td", "th"}) && isOneOf(current().text, {"tbody", "thead", "tfoot"})) pushImplied("tr");
    if (name == "col" && current().isElement("table")) pushImplied("colgroup");
    if (!hasRoom()) return;
    HtmlTreeNode& made = tree_.make(HtmlTreeNode::Kind::Element, name);
    made.attributes = std::move(token.attributes);
    current().insert(made);
    if (name != "col") push(made);
}

bool HtmlTreeBuilder::standsInTable() const {
    return foreign_ == 0 && isOneOf(open_.back().node->text, {"table", "tbody", "thead", "tfoot", "tr", "colgroup"});
}

// Into the current element; what may not stand loose in a table goes before it.
HtmlTreeNode& HtmlTreeBuilder::insert(HtmlTreeNode& node) {
    const bool mayStand = isOneOf(node.text, {"style", "script", "template", "form"});
    HtmlTreeNode* before = standsInTable() && !mayStand ? fosterPlace() : nullptr;
    if (before)
        before->parent->insert(node, before);
    else
        current().insert(node);
    return node;
}

HtmlTreeNode* HtmlTreeBuilder::fosterPlace() const {
    const std::size_t table = findTable();
    return table == kNone || table == 0 || !open_[table].node->parent ? nullptr : open_[table].node;
}

std::size_t HtmlTreeBuilder::nextHolder() const {
    const bool isPutBeforeTable = standsInTable() && fosterPlace();
    return isPutBeforeTable ? open_[findTable()].holder : open_.size() - 1;
}

std::size_t HtmlTreeBuilder::findAround(std::string_view name, unsigned shield, std::string_view extraShield) const {
    for (std::size_t i = nextHolder(); i > 0; i = open_[i].holder) {
        const std::string_view other = open_[i].node->text;
        if (other == name) return i;
        if ((open_[i].traits & shield) || (!extraShield.empty() && other == extraShield)) return kNone;
    }
    return kNone;
}

// Whether a table is open inside the element, but holds not what comes next.
bool HtmlTreeBuilder::leavesTable(std::size_t index) const {
    std::size_t holders = 1;
    for (std::size_t i = nextHolder(); i > index; i = open_[i].holder)
        ++holders;
    return holders < open_.size() - index;
}

// The table that a part belongs to; in a fragment the element around it may be a part itself.
std::size_t HtmlTreeBuilder::findTable() const {
    for (std::size_t i = open_.size(); i-- > 0;) {
        const std::string_view other = open_[i].node->text;
        if (other == "table") return i;
        if (other == "template") return kNone;
        if (i == 0 && isOneOf(other, {"tbody", "thead", "tfoot", "tr", "colgroup"})) return i;
    }
    return kNone;
}

}  // namespace qs
