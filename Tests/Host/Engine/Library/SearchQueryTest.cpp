#include "Library/SearchQuery.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qs {

namespace {

using Kind = MessageCriterion::Kind;

// In a form that a table can hold; dates in hours from the first of November 2026.
std::string shown(const MessageCriterion& criterion) {
    const auto parts = [&] {
        std::string text = "(";
        for (const MessageCriterion& part : criterion.parts)
            text += (text.size() > 1 ? ", " : "") + shown(part);
        return text + ")";
    };
    const auto hours = [&] {
        return std::to_string(static_cast<int>((criterion.date.secondsSince1970 - 1'793'491'200) / 3600));
    };
    switch (criterion.kind) {
    case Kind::All: return "all" + parts();
    case Kind::Any: return "any" + parts();
    case Kind::Not: return "not" + parts();
    case Kind::InMailbox: return "in " + criterion.text;
    case Kind::HasWords: return "[" + criterion.text + "]";
    case Kind::SubjectHasWords: return "subject[" + criterion.text + "]";
    case Kind::FromHasWords: return "from[" + criterion.text + "]";
    case Kind::ToHasWords: return "to[" + criterion.text + "]";
    case Kind::BodyHasWords: return "body[" + criterion.text + "]";
    case Kind::ReceivedSince: return ">=" + hours();
    case Kind::ReceivedBefore: return "<" + hours();
    case Kind::IsUnread: return "unread";
    case Kind::IsFlagged: return "flagged";
    case Kind::HasAttachments: return "attached";
    default: return "?";
    }
}

SearchSurroundings around(const char* timeZone = "UTC") {
    return {
        .places = {{"Inbox", "a/INBOX"}, {"Sent", "a/Sent"}, {"Sent", "b/Sent"}, {"Lists/kernel", "a/Lists.kernel"}},
        .now = {1'795'392'000},  // Monday, 23 November 2026, midnight in London
        .timeZone = timeZone};
}

}  // namespace

TEST(SearchQuery, EverythingThatIsTypedMeansSomething) {
    struct Case {
        const char* typed;
        const char* meaning;
    };
    for (const Case& c : std::vector<Case>{
             {"", "all()"},
             {"  \t\" ", "all()"},
             {"ada", "all([ada*])"},
             {"ada  ben", "all([ada], [ben*])"},
             {"\"annual report\" ada", "all([annual report], [ada*])"},
             {"ada \"annual report\"", "all([ada], [annual report])"},
             {"\"not closed", "all([not closed])"},
             {"FROM:Ada to:\"Ben B\" subject:x body:y", "all(from[Ada], to[Ben B], subject[x], body[y*])"},
             {"from:", "all()"},
             {"from: ada", "all([ada*])"},
             {"-ada -\"b c\" -from:d x", "all(not([ada]), not([b c]), not(from[d]), [x*])"},
             {"- a -", "all([a*])"},
             {"e-mail a--b", "all([e-mail], [a--b*])"},
             {"has:attachment has:nothing", "all(attached, [has nothing*])"},
             {"is:unread is:read is:flagged is:odd", "all(unread, not(unread), flagged, [is odd*])"},
             {"re:plan http://x.example", "all([re plan], [http //x.example*])"},
             {"NOT x OR (y)", "all([NOT], [x], [OR], [(y)*])"},
             {"on:2026-11-22", "all(all(>=504, <528))"},
             {"on:22.11.2026", "all(all(>=504, <528))"},
             {"on:2026/11", "all(all(>=0, <720))"},
             {"before:today after:yesterday", "all(<528, >=504)"},
             {"after:2d before:1w", "all(>=480, <360)"},
             {"on:2026-02-30 before:soon after:", "all([on 2026-02-30], [before soon])"},
             {"after:99999999999999d", "all([after 99999999999999d*])"},
             {"in:sent", "all(any(in a/Sent, in b/Sent))"},
             {"in:lists x", "all([x*], any(in a/Lists.kernel))"},
             {"in:a/INBOX in:sen", "all(any(in a/INBOX, in a/Sent, in b/Sent))"},
             {"in:none", "all(any())"},
             {"in:all x", "all([x*])"},
             {"-in:sent", "all(not(any(in a/Sent, in b/Sent)))"},
         })
        EXPECT_EQ(shown(parseSearch(c.typed, around()).criterion), c.meaning) << c.typed;
}

TEST(SearchQuery, OnlyAPlaceSaysWhere) {
    for (const auto& [typed, saysWhere] :
         {std::pair{"in:sent x", true}, {"in:all", true}, {"-in:sent", false}, {"in", false}, {"in:", false}})
        EXPECT_EQ(parseSearch(typed, around()).saysWhere, saysWhere) << typed;
}

TEST(SearchQuery, DaysAreThoseOfThePersonsZone) {
    struct Case {
        const char* zone;
        const char* meaning;
    };
    for (const Case& c :
         {Case{"Europe/Berlin", "all(all(>=503, <527))"}, Case{"America/New_York", "all(all(>=509, <533))"},
          Case{"Pacific/Kiritimati", "all(all(>=490, <514))"}, Case{"Pacific/Pago_Pago", "all(all(>=515, <539))"}})
        EXPECT_EQ(shown(parseSearch("on:2026-11-22", around(c.zone)).criterion), c.meaning) << c.zone;
}

}  // namespace qs
