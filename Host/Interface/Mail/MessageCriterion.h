// What selects messages: simple tests joined by all-of and any-of. Plain data; the library turns it into a query.
#pragma once

#include <string>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

struct MessageCriterion {
    enum class Kind {
        All,          // every one of `parts`; with no parts: every message
        Any,          // at least one of `parts`; with no parts: none
        InMailbox,    // text: the mailbox identifier
        InAccount,    // text: the account identifier
        MessageIDIs,  // text: without angle brackets
        UniqueIDIs,   // text: value of X-Universally-Unique-Identifier
        SubjectContains,
        FromContains,
        ToContains,  // text, without regard to case, also within words; one of three characters or more by an index
        // text: words that stand one behind the other, without regard to case and accents. After a "*" at the end the
        // last one may go on. In subject, senders, recipients, the message's text or names of its files; or in one of
        // them. Answered by an index.
        HasWords,
        SubjectHasWords,
        FromHasWords,
        ToHasWords,
        BodyHasWords,
        ReceivedSince,   // date, inclusive
        ReceivedBefore,  // date, exclusive
        IsUnread,
        IsFlagged,
        HasAttachments,
        LeadsConversation,  // the newest message of its conversation in its mailbox
        Not,                // none of `parts`
    };
    Kind kind = Kind::All;
    std::string text;
    Date date;
    std::vector<MessageCriterion> parts;

    static MessageCriterion allOf(std::vector<MessageCriterion> parts) { return {Kind::All, {}, {}, std::move(parts)}; }
    static MessageCriterion anyOf(std::vector<MessageCriterion> parts) { return {Kind::Any, {}, {}, std::move(parts)}; }
    static MessageCriterion with(Kind kind, std::string text) { return {kind, std::move(text), {}, {}}; }
    static MessageCriterion with(Kind kind, Date date) { return {kind, {}, date, {}}; }
    static MessageCriterion with(Kind kind) { return {kind, {}, {}, {}}; }
};

}  // namespace qs
