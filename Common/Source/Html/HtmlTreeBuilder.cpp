#include "Html/HtmlTreeBuilder.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kMostFormatting = 16;

bool isBlank(std::string_view text) { return trimmedAscii(text).empty(); }

bool isForeignRoot(std::string_view name) { return name == "svg" || name == "math"; }

// Valid UTF-8 with line feeds alone, and no NUL.
std::string cleanedSource(std::string_view html) {
    html = html.substr(0, HtmlTreeBuilder::kLargestSource);
    std::string source = validUtf8(html);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const bool isFirstOfPair = source[i] == '\r' && i + 1 < source.size() && source[i + 1] == '\n';
        if (isFirstOfPair || source[i] == '\0') continue;
        source[kept++] = source[i] == '\r' ? '\n' : source[i];
    }
    source.resize(kept);
    return source;
}

void addMissingAttributes(HtmlTreeNode& node, HtmlToken& token) {
    for (auto& attribute : token.attributes)
        if (!node.attribute(attribute.first)) node.attributes.push_back(std::move(attribute));
}

}  // namespace

void HtmlTreeBuilder::buildDocument(HtmlTree& tree, std::string_view html) {
    HtmlTreeBuilder builder(tree);
    builder.open_.push_back({&tree.root(), htmlTraits("html")});
    builder.open_.push_back({&tree.head(), htmlTraits("head")});
    builder.inHead_ = true;
    builder.run(html);
}

void HtmlTreeBuilder::buildFragment(HtmlTreeNode& element, std::string_view html) {
    HtmlTreeBuilder builder(*element.tree);
    builder.open_.push_back({&element, htmlTraits(element.text)});
    builder.run(html);
}

bool HtmlTreeBuilder::isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

void HtmlTreeBuilder::run(std::string_view html) {
    const std::string source = cleanedSource(html);
    HtmlTokenizer tokenizer(source);
    HtmlToken token;
    while (tokenizer.next(token)) {
        switch (token.kind) {
        case HtmlToken::Kind::Start: start(token); break;
        case HtmlToken::Kind::End: end(token); break;
        case HtmlToken::Kind::Text: text(token.text); break;
        case HtmlToken::Kind::Comment:
            if (hasRoom()) current().insert(tree_.make(HtmlTreeNode::Kind::Comment, token.text));
            break;
        case HtmlToken::Kind::Doctype:
            if (inHead_ && tree_.doctype.empty()) tree_.doctype = token.text;
            break;
        }
        if (token.kind != HtmlToken::Kind::Start) dropsLineEnd_ = false;
    }
}

void HtmlTreeBuilder::enterBody() {
    if (!inHead_) return;
    inHead_ = false;
    open_.back() = {&tree_.body(), htmlTraits("body")};
}

void HtmlTreeBuilder::text(std::string_view text) {
    if (dropsLineEnd_ && text.starts_with('\n')) text.remove_prefix(1);
    if (inHead_) {
        if (isBlank(text)) return;
        enterBody();
    }
    if (text.empty()) return;
    const bool loose = standsInTable() && !isBlank(text);
    if (!isBlank(text)) reopenFormatting();
    HtmlTreeNode& here = current();
    HtmlTreeNode* before = loose && standsInTable() ? fosterPlace() : nullptr;
    HtmlTreeNode& parent = before ? *before->parent : here;
    HtmlTreeNode* neighbour = before ? before->previous : parent.last;
    if (neighbour && neighbour->kind == HtmlTreeNode::Kind::Text)
        neighbour->text += text;
    else
        parent.insert(tree_.make(HtmlTreeNode::Kind::Text, text), before);
}

void HtmlTreeBuilder::start(HtmlToken& token) {
    dropsLineEnd_ = false;
    if (token.name == "html") return addMissingAttributes(tree_.root(), token);
    if (token.name == "head") return inHead_ ? addMissingAttributes(tree_.head(), token) : void();
    if (token.name == "body") {
        enterBody();
        return addMissingAttributes(tree_.body(), token);
    }
    if (inHead_) {
        if (htmlTraits(token.name) & kHeadOnly) {
            insertElement(token);
            return;
        }
        enterBody();
    }
    startInBody(token);
}

void HtmlTreeBuilder::startInBody(HtmlToken& token) {
    if (token.name == "image" && foreign_ == 0) token.name = "img";
    // It has no end, so that it could not be written without taking in what follows; it is shown as this one is.
    if (token.name == "plaintext") token.name = "pre";
    leaveForeign(token.name);
    const unsigned traits = htmlTraits(token.name);
    if (foreign_ == 0 && (traits & kTablePart)) return startTablePart(token);
    if (token.name == "table") return startTable(token);
    if (traits & kFormatting) return startFormatting(token);
    closeForStart(token);
    const bool isForm = token.name == "form";
    if (isForm && find("form", 0) != kNone) return;
    if (!(traits & (kClosesParagraph | kHeadOnly)) && token.name != "param" && token.name != "source")
        reopenFormatting();
    const bool staysEmpty = isForm && standsInTable();
    HtmlTreeNode* made = insertElement(token);
    dropsLineEnd_ = isOneOf(token.name, {"pre", "listing"});
    const bool isClosed = foreign_ > 0 || isForeignRoot(token.name) ? token.selfClosing : false;
    if (made && !staysEmpty && !isClosed && !(traits & (kVoid | kRawText | kEscapableRawText))) push(*made);
}

// The ends that a start tag implies.
void HtmlTreeBuilder::closeForStart(const HtmlToken& token) {
    const std::string_view name = token.name;
    const unsigned traits = htmlTraits(name);
    if (isOneOf(name, {"li", "dd", "dt"})) {
        for (std::size_t i = nextHolder(); i > 0; i = open_[i].holder) {
            const std::string_view other = open_[i].node->text;
            const bool isSame = name == "li" ? other == "li" : other == "dd" || other == "dt";
            if (isSame) {
                popTo(i);
                break;
            }
            if ((open_[i].traits & kSpecial) && !isOneOf(other, {"address", "div", "p"})) break;
        }
    }
    if (traits & kClosesParagraph) closeParagraph();
    if (name == "button") {
        if (const std::size_t open = findAround("button", kScope); open != kNone) popTo(open);
    }
    const auto popHolderIf = [this](const auto& isEnded) {
        if (const std::size_t holder = nextHolder(); holder > 0 && isEnded(open_[holder])) popTo(holder);
    };
    if (traits & kHeading) popHolderIf([](const Open& o) { return (o.traits & kHeading) != 0; });
    if (isOneOf(name, {"option", "optgroup"})) popHolderIf([](const Open& o) { return o.node->text == "option"; });
    if (name == "optgroup") popHolderIf([](const Open& o) { return o.node->text == "optgroup"; });
    if (isOneOf(name, {"rt", "rp"})) popHolderIf([](const Open& o) { return isOneOf(o.node->text, {"rt", "rp"}); });
}

void HtmlTreeBuilder::startFormatting(HtmlToken& token) {
    if (isOneOf(token.name, {"a", "nobr"})) {
        // Links don't nest: the second ends the first. One around a table holds its rows: it stays instead.
        const std::size_t open = findAround(token.name, kScope);
        const bool isDropped = open != kNone && leavesTable(open);
        if (open != kNone && !isDropped) popTo(open);
        std::erase_if(formatting_, [&](const HtmlTreeNode* node) { return node->text == token.name; });
        if (isDropped) return;
    }
    reopenFormatting();
    if (HtmlTreeNode* made = insertElement(token)) push(*made);
}

void HtmlTreeBuilder::end(const HtmlToken& token) {
    const std::string_view name = token.name;
    if (inHead_) {
        if (name == "head" || name == "br" || name == "p") enterBody();
        if (name == "head" || inHead_) return;
    }
    if (isOneOf(name, {"html", "head", "body"}) || endsTooDeep(name)) return;
    if (name == "br" || (name == "p" && find("p", kScope, "button") == kNone)) {
        HtmlToken implied;
        implied.name = name;
        startInBody(implied);
        if (name == "p" && open_.size() > 1 && current().isElement("p")) pop();
        return;
    }
    const unsigned traits = htmlTraits(name);
    if (traits & (kVoid | kRawText | kEscapableRawText)) return;
    if (traits & kFormatting) return endFormatting(token);
    endOther(token);
}

void HtmlTreeBuilder::endOther(const HtmlToken& token) {
    const std::string_view name = token.name;
    const unsigned traits = htmlTraits(name);
    if (traits & kTablePart) {
        const std::size_t open = find(name, 0, "table");
        if (open != kNone) popTo(open);
    } else if (traits & kHeading) {
        for (std::size_t i = open_.size(); i-- > 1;) {
            const unsigned other = open_[i].traits;
            if (other & kHeading) return popTo(i);
            if (other & kScope) return;
        }
    } else if (name == "table") {
        if (const std::size_t open = find(name, 0, "template"); open != kNone) popTo(open);
    } else if (traits & kScope || traits & kSpecial) {
        const std::size_t open = find(name, kScope);
        // A list inside a list item keeps its items to itself.
        const auto isShielded = [&](std::string_view list) {
            const std::size_t inner = find(list, kScope);
            return name == "li" && inner != kNone && inner > open;
        };
        if (open != kNone && !isShielded("ul") && !isShielded("ol")) popTo(open);
    } else {
        // Unknown and plain inline elements end only what no block shields.
        if (const std::size_t open = find(name, kSpecial); open != kNone) popTo(open);
    }
}

void HtmlTreeBuilder::endFormatting(const HtmlToken& token) {
    const auto waiting = std::find_if(formatting_.rbegin(), formatting_.rend(),
                                      [&](const HtmlTreeNode* node) { return node->text == token.name; });
    if (waiting != formatting_.rend()) {
        formatting_.erase(std::next(waiting).base());
        return;
    }
    const std::size_t open = find(token.name, kScope);
    if (open == kNone) return;
    const bool holdsBlock = std::any_of(open_.begin() + static_cast<std::ptrdiff_t>(open) + 1, open_.end(),
                                        [](const Open& o) { return (o.traits & kSpecial) != 0; });
    if (holdsBlock) {
        open_[open].closesWithContent = true;
        return;
    }
    // It ended for good; those inside it are carried on.
    open_[open].closesWithContent = true;
    popTo(open);
}

HtmlTreeNode* HtmlTreeBuilder::insertElement(HtmlToken& token) {
    if (!hasRoom()) return nullptr;
    HtmlTreeNode& made = tree_.make(HtmlTreeNode::Kind::Element, token.name);
    made.attributes = std::move(token.attributes);
    if (token.name == "textarea" && token.text.starts_with('\n')) token.text.erase(0, 1);
    if (!token.text.empty()) made.insert(tree_.make(HtmlTreeNode::Kind::Text, token.text));
    return &insert(made);
}

// A block inside a drawing means that the drawing's end was forgotten, except in the parts that hold HTML.
void HtmlTreeBuilder::leaveForeign(std::string_view name) {
    const bool isHtml = (htmlTraits(name) & kClosesParagraph) || ((htmlTraits(name) & kFormatting) && name != "a") ||
                        isOneOf(name, {"br", "img", "span", "sub", "sup", "ruby", "var"});
    if (foreign_ == 0 || !isHtml) return;
    std::size_t leave = kNone;
    for (std::size_t i = open_.size(); i-- > 1;) {
        const std::string_view other = open_[i].node->text;
        if (isOneOf(other, {"foreignobject", "desc", "annotation-xml"})) break;
        if (isForeignRoot(other)) leave = i;
    }
    if (leave != kNone) popTo(leave);
}

void HtmlTreeBuilder::push(HtmlTreeNode& node) {
    if (open_.size() >= kDeepest) {
        tooDeep_.push_back(node.text);
        return;
    }
    if (isForeignRoot(node.text)) ++foreign_;
    std::size_t holder = open_.size() - 1;
    while (holder > 0 && open_[holder].node != node.parent)
        --holder;
    open_.push_back({&node, htmlTraits(node.text), holder});
    if (isOneOf(node.text, {"td", "th", "caption"})) open_.back().outerFormatting.swap(formatting_);
}

// The end tag of an element that was too deep to hold anything ends nothing else.
bool HtmlTreeBuilder::endsTooDeep(std::string_view name) {
    constexpr std::size_t kFarthest = 16;
    for (std::size_t i = tooDeep_.size(), seen = 0; i-- > 0 && seen < kFarthest; ++seen) {
        if (tooDeep_[i] != name) continue;
        tooDeep_.resize(i);
        return true;
    }
    return false;
}

void HtmlTreeBuilder::pushImplied(std::string_view name) {
    if (!hasRoom()) return;
    HtmlTreeNode& made = tree_.make(HtmlTreeNode::Kind::Element, name);
    current().insert(made);
    push(made);
}

void HtmlTreeBuilder::pop() {
    Open& top = open_.back();
    if (isForeignRoot(top.node->text)) --foreign_;
    if (isOneOf(top.node->text, {"td", "th", "caption"})) formatting_.swap(top.outerFormatting);
    open_.pop_back();
    tooDeep_.clear();
    if (open_.size() > 1 && open_.back().closesWithContent) pop();
}

void HtmlTreeBuilder::popTo(std::size_t index) {
    std::vector<HtmlTreeNode*> carried;
    while (open_.size() > index && open_.size() > 1) {
        const Open& top = open_.back();
        const bool isBoundary = isOneOf(top.node->text, {"td", "th", "caption"});
        if (isBoundary)
            carried.clear();
        else if ((top.traits & kFormatting) && !top.closesWithContent)
            carried.push_back(top.node);
        pop();
    }
    const std::size_t room = kMostFormatting - std::min(kMostFormatting, formatting_.size());
    if (carried.size() > room) carried.resize(room);
    formatting_.insert(formatting_.end(), carried.rbegin(), carried.rend());
}

void HtmlTreeBuilder::popUntilOneOf(std::initializer_list<std::string_view> names) {
    std::size_t index = open_.size();
    while (index > 1 && !isOneOf(open_[index - 1].node->text, names))
        --index;
    popTo(index);
}

std::size_t HtmlTreeBuilder::find(std::string_view name, unsigned shield, std::string_view extraShield) const {
    for (std::size_t i = open_.size(); i-- > 1;) {
        const std::string_view other = open_[i].node->text;
        if (other == name) return i;
        if ((open_[i].traits & shield) || (!extraShield.empty() && other == extraShield)) return kNone;
    }
    return kNone;
}

void HtmlTreeBuilder::closeParagraph() {
    if (const std::size_t open = findAround("p", kScope, "button"); open != kNone) popTo(open);
}

void HtmlTreeBuilder::reopenFormatting() {
    if (formatting_.empty()) return;
    const std::vector<HtmlTreeNode*> carried = std::exchange(formatting_, {});
    for (const HtmlTreeNode* model : carried) {
        HtmlToken again;
        again.name = model->text;
        again.attributes = model->attributes;
        if (HtmlTreeNode* made = insertElement(again)) push(*made);
    }
}

}  // namespace qs
