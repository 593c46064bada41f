#include "Imap/ImapReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "Imap/ImapAnswers.h"
#include "Imap/ImapError.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr ImapReader::Limits kLimits{.textBytes = 10'000, .literalBytes = 1'000};

// What the server says, handed over in pieces of that size; then it hangs up.
ImapReader reading(std::string text, std::size_t piece, ImapReader::Limits limits = kLimits) {
    return ImapReader(
        [text, piece, given = std::size_t{0}](char* buffer, std::size_t size) mutable -> Result<std::size_t> {
            const std::size_t length = std::min({size, piece, text.size() - given});
            if (length == 0) return failure("test", 1, "hung up");
            std::copy_n(text.data() + given, length, buffer);
            given += length;
            return length;
        },
        limits);
}

std::string shown(const ImapItem& item) {
    if (item.kind == ImapItem::Kind::Atom) return item.text;
    if (item.kind == ImapItem::Kind::Text) return "'" + item.text + "'";
    std::string list;
    for (const ImapItem& each : item.items)
        list += (list.empty() ? "" : " ") + shown(each);
    return "(" + list + ")";
}

std::string shown(const ImapResponse& response) {
    std::string result = response.tag;
    const auto add = [&](const std::string& text) { result += text.empty() ? "" : " " + text; };
    if (response.number) add(std::to_string(response.number));
    add(response.name);
    if (!response.code.empty()) {
        std::string code;
        for (const ImapItem& item : response.code)
            code += (code.empty() ? "" : " ") + shown(item);
        add("[" + code + "]");
    }
    for (const ImapItem& item : response.items)
        add(shown(item));
    add(response.text.empty() ? "" : "|" + response.text);
    return result;
}

TEST(ImapReader, ReadsWhatServersSay) {
    struct Case {
        const char *why, *said, *read;
    };
    const Case cases[] = {
        {"a status", "* OK ready", "* OK |ready"},
        {"a code", "* OK [uidvalidity 3857] x y", "* OK [UIDVALIDITY 3857] |x y"},
        {"a code with a list", "* OK [PERMANENTFLAGS (\\Seen \\*)] Limited",
         "* OK [PERMANENTFLAGS (\\Seen \\*)] |Limited"},
        {"a bracket that is no code", "* OK [hello", "* OK |[hello"},
        {"a bracket in a quoted argument", "* NO [BADURL \"a]b\"] no", "* NO [BADURL 'a]b'] |no"},
        {"an end", "a7 OK [READ-WRITE] done", "a7 [READ-WRITE] |done"},
        {"an end without words", "a7 OK", "a7"},
        {"a count", "* 23 exists", "* 23 EXISTS"},
        {"blanks at the end", "* SEARCH 1 2  ", "* SEARCH 1 2"},
        {"nothing found", "* SEARCH", "* SEARCH"},
        {"a continuation without words", "+", "+"},
        {"a continuation", "+ idling", "+ |idling"},
        {"a list", "* LIST (\\HasNoChildren) \"/\" \"a \\\"b\\\\\"", "* LIST (\\HasNoChildren) '/' 'a \"b\\'"},
        {"a nil", "* LIST () NIL inbox", "* LIST () NIL inbox"},
        {"a name in brackets", "* LIST () \"/\" [Gmail]/All", "* LIST () '/' [Gmail]/All"},
        {"a name as a literal", "* LIST () \"/\" {3}\r\na\"b", "* LIST () '/' 'a\"b'"},
        {"a section with a list in it", "* 1 FETCH (BODY[HEADER.FIELDS (DATE)] {2}\r\n\r\n UID 4)",
         "* 1 FETCH (BODY[HEADER.FIELDS (DATE)] '\r\n' UID 4)"},
        {"a literal with nulls", "* 1 FETCH (BINARY[] ~{1}\r\nx)", "* 1 FETCH (BINARY[] 'x')"},
        {"an empty literal", "* 1 FETCH (BODY[] {0}\r\n)", "* 1 FETCH (BODY[] '')"},
        {"lists side by side", "* NAMESPACE ((\"\" \"/\")(\"x\" NIL)) NIL NIL",
         "* NAMESPACE (('' '/') ('x' NIL)) NIL NIL"},
        {"what nobody knows", "* X-FOO (1 (2)) \"bar\"", "* X-FOO (1 (2)) 'bar'"},
        {"a tilde", "* LIST () \"/\" ~peter", "* LIST () '/' ~peter"}};
    for (const Case& c : cases)
        for (const std::size_t piece : {1u, 3u, 4096u}) {
            ImapReader reader = reading(std::string(c.said) + "\r\n* 1 EXISTS\r\n", piece);
            const auto response = reader.next();
            ASSERT_TRUE(response) << c.why << ": " << response.error().description;
            EXPECT_EQ(shown(*response), c.read) << c.why;
            const auto following = reader.next();
            ASSERT_TRUE(following) << c.why;
            EXPECT_EQ(shown(*following), "* 1 EXISTS") << c.why;
        }
}

TEST(ImapReader, RefusesWhatNoServerShouldSay) {
    struct Case {
        const char* why;
        std::string said;
    };
    const Case cases[] = {
        {"an endless line", "* OK " + std::string(20'000, 'x')},
        {"an endless atom", "* " + std::string(20'000, 'x')},
        {"an endless quoted text", "* LIST () \"" + std::string(20'000, 'x')},
        {"nested without end", "* 1 FETCH " + std::string(5'000, '(')},
        {"parts without end", "* SEARCH " + std::string(9'000, '(')},
        {"a literal larger than allowed", "* 1 FETCH (BODY[] {1001}\r\n" + std::string(1'001, 'x') + ")"},
        {"literals larger than allowed together", "* 1 FETCH (A {600}\r\n" + std::string(600, 'x') + " B {600}\r\n"},
        {"a literal larger than any number", "* 1 FETCH (BODY[] {99999999999999999999999}\r\n"},
        {"a literal of a negative length", "* 1 FETCH (BODY[] {-1}\r\n"},
        {"a literal of no length", "* 1 FETCH (BODY[] {}\r\n"},
        {"text behind the length", "* 1 FETCH (BODY[] {3} abc\r\n"},
        {"a line that ends within quotes", "* LIST () \"/\r\n"},
        {"a list that does not end", "* 1 FETCH (UID 3\r\n"},
        {"a bracket that closes nothing", "* SEARCH )\r\n"},
        {"an empty line", "\r\n"},
        {"another protocol", "HTTP/1.1 400 Bad Request\r\n"}};
    for (const Case& c : cases) {
        ImapReader reader = reading(c.said, 4096);
        const auto response = reader.next();
        ASSERT_FALSE(response) << c.why;
        EXPECT_EQ(response.error().domain, kImapErrorDomain) << c.why;
        EXPECT_EQ(imapFailure(response.error()), ImapFailure::Malformed) << c.why;
        EXPECT_FALSE(reader.next()) << c.why << ": there is no way to go on";
    }
}

TEST(ImapReader, TellsAHangUpFromNonsense) {
    for (const char* said : {"", "* OK rea", "* 1 FETCH (BODY[] {900}\r\nabc", "* LIST (", "a1"}) {
        ImapReader reader = reading(said, 2);
        const auto response = reader.next();
        ASSERT_FALSE(response) << said;
        EXPECT_EQ(response.error().domain, "test") << said;
    }
}

TEST(ImapAnswers, ReadDatesAndWriteThem) {
    struct Case {
        const char* text;
        std::optional<double> seconds;
    };
    for (const Case& c :
         {Case{"17-Jul-1996 02:44:25 -0700", 837'596'665}, Case{" 1-Jan-1970 00:00:00 +0000", 0},
          Case{"1-jan-2026 01:30:00 +0130", 1'767'225'600}, Case{"29-Feb-2024 12:00:00 +0000", 1'709'208'000},
          Case{"30-Feb-2024 12:00:00 +0000", {}}, Case{"17-Jul-1996", {}}, Case{"17-Xyz-1996 02:44:25 -0700", {}},
          Case{"17-Jul-1996 25:44:25 -0700", {}}, Case{"", {}}}) {
        const auto date = dateFromImap(c.text);
        ASSERT_EQ(date.has_value(), c.seconds.has_value()) << c.text;
        if (date) {
            EXPECT_EQ(date->secondsSince1970, *c.seconds) << c.text;
            EXPECT_EQ(dateFromImap(imapDateTime(*date)), date) << c.text;
        }
    }
    EXPECT_EQ(imapDateTime(Date{837'596'665.9}), "17-Jul-1996 09:44:25 +0000");
    EXPECT_EQ(imapDay(Date{-1}), "31-Dec-1969");
}

}  // namespace
}  // namespace qs
