#include "Library/IndexQuery.h"

#include <algorithm>

#include "Foundation/Log.h"
#include "Library/IndexTables.h"
#include "Library/SearchText.h"

namespace qs {

namespace {

using Kind = MessageCriterion::Kind;

constexpr int kDeepest = 50;
constexpr std::size_t kMostValues = 20'000;  // the database takes 32766

class ConditionWriter {
public:
    SqlCondition condition;
    bool isTooLarge = false;

    void write(const MessageCriterion& criterion, int depth) {
        if (depth > kDeepest || condition.values.size() > kMostValues) isTooLarge = true;
        if (isTooLarge) return;
        switch (criterion.kind) {
        case Kind::All: return join(criterion.parts, 0, criterion.parts.size(), " AND ", "1", depth);
        case Kind::Any:
            if (isListOf(criterion.parts, Kind::MessageIDIs)) return idList("message_id", criterion.parts);
            if (isListOf(criterion.parts, Kind::UniqueIDIs)) return idList("unique_id", criterion.parts);
            return join(criterion.parts, 0, criterion.parts.size(), " OR ", "0", depth);
        case Kind::Not:
            condition.text += "NOT ";
            return join(criterion.parts, 0, criterion.parts.size(), " OR ", "0", depth);
        case Kind::InMailbox: return test("m.mailbox = ?", mailboxNumber(criterion.text));
        case Kind::InAccount:
            return test("m.mailbox IN (SELECT number FROM mailboxes WHERE account = ?)", criterion.text);
        case Kind::MessageIDIs: return id("message_id", criterion.text);
        case Kind::UniqueIDIs: return id("unique_id", criterion.text);
        case Kind::SubjectContains: return test("contains_text(m.subject, ?)", criterion.text);
        case Kind::FromContains: return test("contains_text(m.sender, ?)", criterion.text);
        case Kind::ToContains: return test("contains_text(m.recipients, ?)", criterion.text);
        case Kind::ReceivedSince: return test("m.received >= ?", criterion.date.secondsSince1970);
        case Kind::ReceivedBefore: return test("m.received < ?", criterion.date.secondsSince1970);
        case Kind::IsUnread: return plain("(m.flags & 1) = 0");
        case Kind::IsFlagged: return plain("(m.flags & 4) != 0");
        case Kind::HasAttachments: return plain("m.attachments > 0");
        }
        isTooLarge = true;  // a kind that is none
    }

private:
    void plain(std::string_view text) { condition.text += text; }
    void test(std::string_view text, SqlValue value) {
        condition.text += text;
        condition.values.push_back(std::move(value));
    }
    // Messages without an id have none that could be looked for. The same words as in the table's partial indices.
    void id(const std::string& column, const std::string& value) {
        test("(m." + column + " != '' AND m." + column + " = ?)", value);
    }
    // The ids of a conversation may be many; as a list they cost one look-up each.
    static bool isListOf(const std::vector<MessageCriterion>& parts, Kind kind) {
        return parts.size() > 1 &&
               std::all_of(parts.begin(), parts.end(), [&](const auto& part) { return part.kind == kind; });
    }
    void idList(const std::string& column, const std::vector<MessageCriterion>& parts) {
        isTooLarge = isTooLarge || parts.size() > kMostValues;
        if (isTooLarge) return;
        condition.text += "(m." + column + " != '' AND m." + column + " IN (?";
        for (std::size_t i = 1; i < parts.size(); ++i)
            condition.text += ",?";
        condition.text += "))";
        for (const MessageCriterion& part : parts)
            condition.values.emplace_back(part.text);
    }
    // In halves, as the database bounds the depth of an expression.
    void join(const std::vector<MessageCriterion>& parts, std::size_t begin, std::size_t end, std::string_view word,
              std::string_view none, int depth) {
        condition.text += '(';
        if (begin == end) condition.text += none;
        if (end - begin == 1) write(parts[begin], depth + 1);
        if (end - begin > 1) {
            const std::size_t middle = begin + (end - begin) / 2;
            join(parts, begin, middle, word, none, depth);
            condition.text += word;
            join(parts, middle, end, word, none, depth);
        }
        condition.text += ')';
    }
};

}  // namespace

SqlCondition conditionFor(const MessageCriterion& criterion) {
    ConditionWriter writer;
    writer.write(criterion, 0);
    if (!writer.isTooLarge) return std::move(writer.condition);
    logError("a search has too many parts; it finds nothing");
    return {"0", {}};
}

SqlCondition conditionFor(const MessageCriterion& criterion, std::string_view search) {
    SqlCondition condition = conditionFor(criterion);
    const std::string words = matchExpression(search);
    if (words.empty()) return condition;
    condition.text = "(" + condition.text + ") AND m.seq IN (SELECT rowid FROM words WHERE words MATCH ?)";
    condition.values.emplace_back(words);
    return condition;
}

std::string onlyMailboxOf(const MessageCriterion& criterion) {
    if (criterion.kind == Kind::InMailbox) return criterion.text;
    const bool isPair = criterion.kind == Kind::All || criterion.kind == Kind::Any;
    return isPair && criterion.parts.size() == 1 ? onlyMailboxOf(criterion.parts.front()) : std::string();
}

}  // namespace qs
