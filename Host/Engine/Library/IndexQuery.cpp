#include "Library/IndexQuery.h"

#include <algorithm>
#include <array>

#include "Foundation/Log.h"
#include "Library/IndexTables.h"
#include "Library/ListKey.h"
#include "Library/SearchText.h"

namespace qs {

namespace {

using Kind = MessageCriterion::Kind;
using Parts = std::vector<MessageCriterion>;

constexpr int kDeepest = 50;
constexpr std::size_t kMostValues = 20'000;      // the database takes 32766
constexpr TimeInterval kKeysMayRunAhead = 3600;  // when very many messages are of one date
constexpr std::string_view kWords = "words", kFragments = "fragments", kMessages = "messages m";

struct WordColumn {
    Kind kind;
    std::string_view column;
};
constexpr std::array<WordColumn, 5> kWordColumns{{{Kind::HasWords, ""},
                                                  {Kind::SubjectHasWords, "subject : "},
                                                  {Kind::FromHasWords, "sender : "},
                                                  {Kind::ToHasWords, "recipients : "},
                                                  {Kind::BodyHasWords, "body : "}}};

constexpr std::array<WordColumn, 3> kFragmentColumns{
    {{Kind::SubjectContains, "subject : "}, {Kind::FromContains, "sender : "}, {Kind::ToContains, "recipients : "}}};

// The expression for the index of words; empty when the criterion asks for anything else than words.
std::string wordExpression(const MessageCriterion& criterion, int depth = 0) {
    if (depth > kDeepest) return {};
    for (const auto& [kind, column] : kWordColumns)
        if (criterion.kind == kind) return std::string(column) + matchPhrase(criterion.text);
    const bool isAll = criterion.kind == Kind::All;
    if ((!isAll && criterion.kind != Kind::Any) || criterion.parts.empty()) return {};
    std::string joined;
    for (const MessageCriterion& part : criterion.parts) {
        const std::string one = wordExpression(part, depth + 1);
        if (one.empty()) return {};
        joined += joined.empty() ? "(" : (isAll ? " AND " : " OR ");
        joined += one;
    }
    return joined + ")";
}

// The expression for the index of fragments, which finds all that match and may find more; empty when it can't tell.
std::string fragmentExpression(const MessageCriterion& criterion, int depth = 0) {
    if (depth > kDeepest) return {};
    for (const auto& [kind, column] : kFragmentColumns)
        if (criterion.kind == kind) {
            const std::string fragments = matchFragments(criterion.text);
            return fragments.empty() ? fragments : std::string(column) + fragments;
        }
    const bool isAll = criterion.kind == Kind::All;
    if ((!isAll && criterion.kind != Kind::Any) || criterion.parts.empty()) return {};
    std::string joined;
    for (const MessageCriterion& part : criterion.parts) {
        const std::string one = fragmentExpression(part, depth + 1);
        if (one.empty() && isAll) continue;  // the others narrow it down
        if (one.empty()) return {};
        joined += joined.empty() ? "(" : (isAll ? " AND " : " OR ");
        joined += one;
    }
    return joined.empty() ? joined : joined + ")";
}

bool isOnlyInside(const MessageCriterion& criterion) { return criterion.kind == Kind::Not && !criterion.parts.empty(); }

bool mentions(const MessageCriterion& criterion, std::initializer_list<Kind> kinds, int depth = 0) {
    return depth > kDeepest || std::ranges::find(kinds, criterion.kind) != kinds.end() ||
           std::ranges::any_of(criterion.parts, [&](const auto& part) { return mentions(part, kinds, depth + 1); });
}

class ConditionWriter {
public:
    // `isOfMessages`: mailboxes are those of the message, not of its row.
    ConditionWriter(std::string key, bool isOfMessages) : key_(std::move(key)), isOfMessages_(isOfMessages) {}

    std::string text;
    SqlValues values;
    bool isTooLarge = false;

    void write(const MessageCriterion& criterion, int depth) {
        if (depth > kDeepest || values.size() > kMostValues) isTooLarge = true;
        if (isTooLarge) return;
        const Parts& parts = criterion.parts;
        switch (criterion.kind) {
        case Kind::All: return join(parts, 0, parts.size(), " AND ", "1", depth);
        case Kind::Any:
            if (isListOf(parts, Kind::MessageIDIs)) return idList("message_id", parts);
            if (isListOf(parts, Kind::UniqueIDIs)) return idList("unique_id", parts);
            return join(parts, 0, parts.size(), " OR ", "0", depth);
        case Kind::Not: text += "NOT "; return join(parts, 0, parts.size(), " OR ", "0", depth);
        case Kind::InMailbox: return inMailbox(mailboxNumber(criterion.text));
        case Kind::InAccount: return test("m.account = ?", accountNumber(criterion.text));
        case Kind::MessageIDIs: return id("message_id", criterion.text);
        case Kind::UniqueIDIs: return id("unique_id", criterion.text);
        case Kind::SubjectContains: return test("contains_text(m.subject, ?)", criterion.text);
        case Kind::FromContains: return test("contains_text(m.sender, ?)", criterion.text);
        case Kind::ToContains: return test("contains_text(m.recipients, ?)", criterion.text);
        case Kind::HasWords:
        case Kind::SubjectHasWords:
        case Kind::FromHasWords:
        case Kind::ToHasWords:
        case Kind::BodyHasWords:
            return test(key_ + " IN (SELECT rowid FROM words WHERE words MATCH ?)", wordExpression(criterion));
        case Kind::ReceivedSince:
            test("(" + key_ + " >= ?", firstKeyAt(criterion.date));
            return test(" AND m.received >= ?)", criterion.date.secondsSince1970);
        case Kind::ReceivedBefore:
            test("(" + key_ + " < ?", firstKeyAt(criterion.date + kKeysMayRunAhead));
            return test(" AND m.received < ?)", criterion.date.secondsSince1970);
        case Kind::IsUnread: text += "(m.flags & 1) = 0"; return;
        case Kind::IsFlagged: text += "(m.flags & 4) != 0"; return;
        case Kind::HasAttachments: text += "m.attachments > 0"; return;
        case Kind::LeadsConversation:
            text += "EXISTS (SELECT 1 FROM leading l WHERE l.mailbox = m.mailbox AND l.seq = m.seq)";
            return;
        }
        isTooLarge = true;  // a kind that is none
    }

private:
    void test(std::string_view condition, SqlValue value) {
        text += condition;
        values.push_back(std::move(value));
    }
    void inMailbox(std::int64_t mailbox) {
        if (!isOfMessages_) return test("m.mailbox = ?", mailbox);
        test("(m.mailbox = ?", mailbox);
        test(" OR (m.gmail != 0 AND EXISTS (SELECT 1 FROM messages c INDEXED BY by_gmail WHERE c.gmail != 0 AND "
             "c.gmail = m.gmail AND c.account = m.account AND c.mailbox = ? AND c.copy != 2)))",
             mailbox);
    }
    // Messages without an id have none that could be looked for. The same words as in the table's partial indices.
    void id(const std::string& column, const std::string& value) {
        test("(m." + column + " != '' AND m." + column + " = ?)", value);
    }
    // The ids of a conversation may be many; as a list they cost one look-up each.
    static bool isListOf(const Parts& parts, Kind kind) {
        return parts.size() > 1 &&
               std::all_of(parts.begin(), parts.end(), [&](const auto& part) { return part.kind == kind; });
    }
    void idList(const std::string& column, const Parts& parts) {
        isTooLarge = isTooLarge || parts.size() > kMostValues;
        if (isTooLarge) return;
        text += "(m." + column + " != '' AND m." + column + " IN (?";
        for (std::size_t i = 1; i < parts.size(); ++i)
            text += ",?";
        text += "))";
        for (const MessageCriterion& part : parts)
            values.emplace_back(part.text);
    }
    // In halves, as the database bounds the depth of an expression.
    void join(const Parts& parts, std::size_t begin, std::size_t end, std::string_view word, std::string_view none,
              int depth) {
        text += '(';
        if (begin == end) text += none;
        if (end - begin == 1) write(parts[begin], depth + 1);
        if (end - begin > 1) {
            const std::size_t middle = begin + (end - begin) / 2;
            join(parts, begin, middle, word, none, depth);
            text += word;
            join(parts, middle, end, word, none, depth);
        }
        text += ')';
    }

    const std::string key_;
    const bool isOfMessages_;
};

// The tests that must all be met, out of the nests of "all of".
void flatten(const MessageCriterion& criterion, int depth, Parts& parts) {
    if (criterion.kind != Kind::All || depth > kDeepest) {
        parts.push_back(criterion);
        return;
    }
    for (const MessageCriterion& part : criterion.parts)
        flatten(part, depth + 1, parts);
}

bool has(const Parts& parts, Kind kind) {
    return std::any_of(parts.begin(), parts.end(), [&](const auto& part) { return part.kind == kind; });
}

// Takes out of `parts` what the index of words can tell at once: words that must be there, and those that must not.
std::string takeWords(Parts& parts) {
    std::string wanted;
    std::erase_if(parts, [&](const MessageCriterion& part) {
        const std::string one = wordExpression(part);
        if (!one.empty()) wanted += (wanted.empty() ? "" : " AND ") + one;
        return !one.empty();
    });
    if (wanted.empty()) return {};
    std::erase_if(parts, [&](const MessageCriterion& part) {
        const std::string one =
            isOnlyInside(part) ? wordExpression(MessageCriterion::anyOf(part.parts)) : std::string();
        if (!one.empty()) wanted = "(" + wanted + ") NOT " + one;
        return !one.empty();
    });
    return wanted;
}

// Few messages are in these indices, and they stand there in the order of the list.
std::string tablesFor(const Parts& parts) {
    std::string tables(kMessages);
    const bool isById = has(parts, Kind::MessageIDIs) || has(parts, Kind::UniqueIDIs) || has(parts, Kind::Any);
    if (isById) return tables;
    if (has(parts, Kind::IsFlagged)) return tables + " INDEXED BY flagged";
    if (has(parts, Kind::IsUnread)) return tables + " INDEXED BY unread";
    if (has(parts, Kind::InMailbox)) return tables + " INDEXED BY by_mailbox";
    if (has(parts, Kind::HasAttachments)) return tables + " INDEXED BY attached";
    if (has(parts, Kind::InAccount)) return tables + " INDEXED BY by_account";
    return tables;
}

// The list grouped by conversation: as quick as that of all messages, so it needs to look at no other row.
SqlSelection leadsIn(const std::string& mailbox) {
    SqlSelection selection;
    selection.tables = "leading CROSS JOIN messages m ON m.seq = leading.seq";
    selection.condition = "leading.mailbox = ?";
    selection.values = {mailboxNumber(mailbox)};
    selection.key = "leading.seq";
    selection.leadsOf = mailbox;
    return selection;
}

// Which rows of messages at Gmail are looked at.
struct Scope {
    std::string condition;
    SqlValues values;
    bool isOfMessages = false;
};

bool isMailbox(const MessageCriterion& criterion) { return criterion.kind == Kind::InMailbox; }

// Takes the mailbox out of `parts` whose rows are wanted, or the mailboxes; there of each message the first one's.
Scope takeScope(Parts& parts) {
    if (const auto one = std::ranges::find_if(parts, isMailbox); one != parts.end()) {
        Scope scope{"m.mailbox = ? AND m.copy != 2", {mailboxNumber(one->text)}, true};
        parts.erase(one);
        return scope;
    }
    if (mentions(MessageCriterion::allOf(parts), {Kind::MessageIDIs, Kind::UniqueIDIs})) return {"m.copy != 2", {}};
    const auto several = std::ranges::find_if(parts, [](const MessageCriterion& part) {
        return part.kind == Kind::Any && !part.parts.empty() && part.parts.size() < kMostValues / 2 &&
               std::ranges::all_of(part.parts, isMailbox);
    });
    if (several == parts.end()) return {"m.copy = 0", {}, true};
    std::string list;
    SqlValues numbers;
    for (const MessageCriterion& part : several->parts) {
        list += list.empty() ? "?" : ",?";
        numbers.emplace_back(mailboxNumber(part.text));
    }
    parts.erase(several);
    Scope scope{"m.mailbox IN (" + list +
                    ") AND m.copy != 2 AND (m.copy = 0 OR m.mailbox = (SELECT c.mailbox FROM messages c INDEXED BY "
                    "by_gmail JOIN mailboxes b ON b.number = c.mailbox WHERE c.gmail != 0 AND c.gmail = m.gmail AND "
                    "c.account = m.account AND c.copy != 2 AND c.mailbox IN (" +
                    list + ") ORDER BY b.place LIMIT 1))",
                numbers, true};
    scope.values.insert(scope.values.end(), numbers.begin(), numbers.end());
    return scope;
}

}  // namespace

SqlSelection selectionFor(const MessageCriterion& criterion) {
    SqlSelection selection;
    Parts parts;
    flatten(criterion, 0, parts);
    if (parts.size() == 1 && parts.front().kind == Kind::InMailbox) selection.mailbox = parts.front().text;
    if (parts.size() == 1 && parts.front().kind == Kind::InAccount) selection.account = parts.front().text;
    if (parts.size() == 2 && has(parts, Kind::InMailbox) && has(parts, Kind::LeadsConversation))
        return leadsIn(std::ranges::find(parts, Kind::InMailbox, &MessageCriterion::kind)->text);
    selection.isEverything = parts.empty();
    // In the order of the list, whatever else there is an index for.
    const std::string tables = selection.isEverything ? std::string(kMessages) + " NOT INDEXED" : tablesFor(parts);
    const Scope scope = takeScope(parts);
    const std::string words = takeWords(parts);
    const std::string fragments = words.empty() ? fragmentExpression(MessageCriterion::allOf(parts)) : std::string();
    const std::string_view found = !words.empty() ? kWords : !fragments.empty() ? kFragments : std::string_view();
    selection.key = found.empty() ? "m.seq" : std::string(found) + ".rowid";
    selection.tables =
        found.empty() ? tables : std::string(found) + " CROSS JOIN messages m ON m.seq = " + selection.key;
    ConditionWriter writer(selection.key, scope.isOfMessages);
    if (!found.empty()) {
        writer.text = std::string(found) + " MATCH ? AND ";
        writer.values.emplace_back(words.empty() ? fragments : words);
    }
    writer.text += scope.condition + " AND ";
    writer.values.insert(writer.values.end(), scope.values.begin(), scope.values.end());
    writer.write(MessageCriterion::allOf(std::move(parts)), 0);
    if (writer.isTooLarge) {
        logError("a search has too many parts; it finds nothing");
        return {.tables = std::string(kMessages), .condition = "0", .values = {}, .key = "m.seq", .mailbox = {}};
    }
    selection.condition = std::move(writer.text);
    selection.values = std::move(writer.values);
    return selection;
}

}  // namespace qs
