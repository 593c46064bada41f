// Odd mail, opened the way the page opens it: row, heading, text, source and attachments. Whatever it is, the answers
// are there, are UTF-8, hold what can be read of it and nothing that acts.
#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <random>

#include "BundleLoader.h"
#include "Display/Sanitizer.h"
#include "Foundation/RunLoop.h"
#include "MailApplication.h"
#include "MailRoutes.h"
#include "MainViewer.h"
#include "MessageJson.h"
#include "ResourceProxy.h"
#include "Support/TemporaryHost.h"
#include "Text/Base64.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::HasSubstr;
using testing::Not;

struct Opened {
    std::string row, section, body, html, source;
    json::object message;
};

class OddMessages : public testing::Test {
protected:
    HttpServerResponse get(std::int64_t id, const std::string& what) {
        std::optional<HttpServerResponse> answer;
        answerMailRoute(host_.application(), host_.bundles(), proxy_,
                        {.method = "GET", .path = "/messages/" + std::to_string(id) + "/" + what},
                        [&](HttpServerResponse given) { answer = std::move(given); });
        host_.settle();
        if (answer && answer->largeBody) {
            answer->body = startOf(answer->largeBody->read, std::size_t{1} << 30).value();
            EXPECT_EQ(answer->body.size(), answer->largeBody->size);
        }
        return answer.value_or(HttpServerResponse{.status = 0});
    }
    std::int64_t receive(std::string_view content) {
        const auto inbox = host_.library().mailbox("ada", MailboxKind::Inbox, true);
        const auto added = host_.library().add(*inbox, content, {}, host_.loop().now());
        if (!added) {
            ADD_FAILURE() << added.error().description;
            return 0;
        }
        host_.settle();
        return (*added)->libraryID();
    }
    Opened open(std::string_view content) {
        const auto id = receive(content);
        host_.viewer().selectIDs({id});
        host_.settle();
        Opened opened;
        for (const ViewerRow& row : host_.viewer().rows())
            if (row.summary.id == id) opened.row = json::serialize(rowJson(host_.application(), row));
        const json::value section = messageSection(host_.application());
        opened.section = json::serialize(section);
        if (section.is_object()) opened.message = section.as_object();
        const auto body = get(id, "body");
        EXPECT_EQ(body.status, 200);
        opened.body = body.body;
        opened.html = json::parse(body.body).at("html").as_string();
        opened.source = get(id, "source").body;
        lastID_ = id;
        return opened;
    }

    TemporaryHost host_;
    ResourceProxy proxy_;
    std::int64_t lastID_ = 0;
};

std::string with(std::string_view type, std::string_view body, std::string_view more = "") {
    return "From: Ben <ben@example.org>\r\nSubject: odd\r\n" + std::string(more) +
           "Content-Type: " + std::string(type) + "\r\n\r\n" + std::string(body);
}

std::string repeated(std::string_view piece, std::size_t times) {
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

std::string nestedMultiparts(std::size_t depth) {
    std::string text = "Subject: odd\r\nMIME-Version: 1.0\r\n";
    for (std::size_t i = 0; i < depth; ++i)
        text += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\r\n\r\n--b" + std::to_string(i) +
                "\r\n";
    return text + "Content-Type: text/plain\r\n\r\nat the bottom\r\n";
}

std::string nestedMessages(std::size_t depth) {
    return "Subject: odd\r\n" + repeated("Content-Type: message/rfc822\r\n\r\nSubject: inside\r\n", depth) +
           "\r\nat the bottom";
}

TEST_F(OddMessages, EveryOneIsOpened) {
    struct Case {
        const char* why;
        std::string content;
        const char* shown;  // in the text; "": nothing in particular
    };
    const std::vector<Case> cases = {
        // no message at all
        {"nothing", "", ""},
        {"one line end", "\r\n", ""},
        {"octets of null", std::string(300, '\0'), ""},
        {"headers alone", "Subject: odd\r\nFrom: ben@example.org", ""},
        {"a text without headers", "\r\njust text", "just text"},
        {"a line of a mailbox file first", "From ben Mon Nov 23 10:00:00 2026\r\n" + with("text/plain", "after it"),
         "after it"},
        {"a byte order mark first", "\xEF\xBB\xBF" + with("text/plain", "after the mark"), "after the mark"},
        {"line feeds alone", "Subject: odd\nContent-Type: text/plain\n\nonly feeds\nhere", "only feeds"},
        {"carriage returns alone", "Subject: odd\rContent-Type: text/plain\r\ronly returns", ""},
        {"a header without a colon", "Subject: odd\r\nnonsense\r\nContent-Type: text/plain\r\n\r\nstill read", ""},
        {"a picture file", "\x89PNG\r\n\x1A\n" + std::string("\0\0\0\rIHDR", 8), ""},
        // letters of the world
        {"Cyrillic in KOI8-R", with("text/plain; charset=koi8-r", "\xF0\xD2\xC9\xD7\xC5\xD4"), "Привет"},
        {"Japanese in Shift_JIS", with("text/plain; charset=Shift_JIS", "\x93\xFA\x96\x7B"), "日本"},
        {"Chinese in GB18030", with("text/plain; charset=gb18030", "\xD6\xD0\xCE\xC4"), "中文"},
        {"Chinese in Big5", with("text/plain; charset=big5", "\xA4\xA4\xA4\xE5"), "中文"},
        {"Korean in EUC-KR", with("text/plain; charset=euc-kr", "\xC7\xD1\xB1\xDB"), "한글"},
        {"Greek in ISO-8859-7", with("text/plain; charset=iso-8859-7", "\xC3\xE5\xE9\xDC"), "Γειά"},
        {"Windows quotes named Latin-1", with("text/plain; charset=iso-8859-1", "\x93quoted\x94"), "“quoted”"},
        {"Latin-1 named UTF-8", with("text/plain; charset=utf-8", "caf\xE9 noir"), "noir"},
        {"a character set nobody knows", with("text/plain; charset=x-nonsense", "plain enough"), "plain enough"},
        {"an endless name of a character set", with("text/plain; charset=" + std::string(50'000, 'x'), "still"),
         "still"},
        {"a name with a quotation mark left open", with("text/plain; charset=\"utf-8", "left open"), "left open"},
        {"UTF-7, which can hide markup",
         with("text/html; charset=utf-7", "+ADw-script+AD4-alert(1)+ADw-/script+AD4-text"), ""},
        {"HTML that names another set than its header",
         with("text/html; charset=utf-8", "<meta charset=koi8-r><p>caf\xC3\xA9</p>"), "café"},
        {"overlong and forbidden octets", with("text/plain; charset=utf-8", "\xC0\xBC\xED\xA0\x80\xF4\x90\x80\x80 end"),
         "end"},
        {"text that runs from right to left", with("text/plain; charset=utf-8", "\u202Egnp.exe"), ".exe"},
        // MIME that is broken
        {"a multipart without a boundary", with("multipart/mixed", "--b\r\n\r\ntext\r\n--b--"), ""},
        {"a boundary that never comes", with("multipart/mixed; boundary=b", "no part at all"), ""},
        {"an empty boundary", with("multipart/mixed; boundary=\"\"", "--\r\n\r\ntext\r\n----"), ""},
        {"a boundary with blanks behind it", with("multipart/mixed; boundary=b", "--b  \r\n\r\nfound\r\n--b--"),
         "found"},
        {"a multipart without an end", with("multipart/mixed; boundary=b", "--b\r\n\r\nthe only part"),
         "the only part"},
        {"parts of the same boundary inside",
         with("multipart/mixed; boundary=b",
              "--b\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\ninner\r\n--b--"),
         "inner"},
        {"alternatives without a text",
         with("multipart/alternative; boundary=b", "--b\r\nContent-Type: image/png\r\n\r\nx\r\n--b--"), ""},
        {"an encoding nobody knows", with("text/plain", "as it is", "Content-Transfer-Encoding: x-nothing\r\n"),
         "as it is"},
        {"base64 that is none", with("text/plain", "!!!!", "Content-Transfer-Encoding: base64\r\n"), ""},
        {"base64 cut short", with("text/plain", "aGVsbG8gdGhl", "Content-Transfer-Encoding: base64\r\n"), "hello the"},
        {"quoted-printable with holes",
         with("text/plain", "a=\r\nb=ZZ=4", "Content-Transfer-Encoding: quoted-printable\r\n"), "ab"},
        {"two types", "Content-Type: text/plain\r\nContent-Type: text/html\r\nSubject: odd\r\n\r\n<b>bold</b>", "bold"},
        {"a type that is none", with("///;;;", "anyhow"), ""},
        {"a list of a thousand parameters", with("text/plain" + repeated("; a*0=b", 1000), "parameters"), "parameters"},
        {"a signed text",
         with("multipart/signed; boundary=b; protocol=x",
              "--b\r\n\r\nsigned\r\n--b\r\nContent-Type: application/x\r\n\r\nzzz\r\n--b--"),
         "signed"},
        {"a text in pieces", with("message/partial; number=2; total=3; id=\"x\"", "the second piece"), ""},
        {"a text that is elsewhere",
         with("message/external-body; access-type=URL; URL=\"http://x.example\"", "\r\nphantom"), ""},
        // depth and number
        {"multiparts in multiparts", nestedMultiparts(1000), ""},
        {"messages in messages", nestedMessages(500), ""},
        {"five thousand parts",
         with("multipart/mixed; boundary=b", repeated("--b\r\nContent-Disposition: attachment\r\n\r\nx\r\n", 5000)),
         ""},
        {"a hundred thousand divisions", with("text/html", repeated("<div>", 100'000) + "deep"), ""},
        {"a table in a table in a table", with("text/html", repeated("<table><tr><td>", 3000) + "deep"), ""},
        {"a million signs of markup", with("text/html", repeated("<", 1'000'000)), ""},
        {"a list of rules without an end",
         with("text/html", "<style>" + repeated("a{color:red}", 100'000) + "</style>text"), "text"},
        {"quotes upon quotes", with("text/plain", repeated(">", 100'000) + " far down"), ""},
        {"one line of five megabytes", with("text/plain", std::string(5'000'000, 'x')), "xxxx"},
        // headers as bombs
        {"a hundred thousand headers", repeated("X-Bomb: 1\r\n", 100'000) + with("text/plain", "behind them"), ""},
        {"a subject of two megabytes", "Subject: " + std::string(2'000'000, 's') + "\r\n\r\nbehind it", ""},
        {"ten thousand recipients",
         "To: " + repeated("Ben <ben@example.org>,\r\n ", 10'000) + "x@y.example\r\nSubject: odd\r\n\r\nto all",
         "to all"},
        {"groups in groups", "To: " + repeated("a:", 20'000) + ";\r\nSubject: odd\r\n\r\ngrouped", "grouped"},
        {"comments in comments", "From: " + repeated("(", 50'000) + "\r\nSubject: odd\r\n\r\ncommented", "commented"},
        {"words in code without an end", "Subject: " + repeated("=?utf-8?q?=?=", 20'000) + "\r\n\r\ncoded", "coded"},
        {"a code of a set nobody knows", "Subject: =?x-nonsense?B?/////w==?= =?utf-8?Q?=FF=FE?=\r\n\r\ncoded", "coded"},
        {"a thread of ten thousand", "References: " + repeated("<a@b>\r\n ", 10'000) + "\r\nSubject: odd\r\n\r\nthread",
         ""},
        {"controls in a subject", "Subject: a\x01\x07\x1B[31m\x7F\r\n\r\ncontrols", "controls"},
        {"a date of no time", "Date: Fri, 99 Foo 99999 99:99:99 +9999\r\nSubject: odd\r\n\r\ndated", "dated"},
    };
    for (const Case& c : cases) {
        const Opened opened = open(c.content);
        EXPECT_FALSE(opened.row.empty()) << c.why;
        EXPECT_THAT(opened.html, HasSubstr(c.shown)) << c.why;
        for (const std::string* text : {&opened.row, &opened.section, &opened.body})
            EXPECT_TRUE(isValidUtf8(*text)) << c.why;
        EXPECT_THAT(opened.html, Not(HasSubstr("<script"))) << c.why;
        EXPECT_EQ(sanitizeHtml(opened.html, {}).html, opened.html)
            << c.why << ": the text is as a browser will read it";
        EXPECT_EQ(opened.source, c.content) << c.why << ": the source is the message itself";
        EXPECT_LT(opened.row.size() + opened.section.size(), 8u << 20) << c.why << ": the page gets no bomb";
        if (HasFailure()) return;
    }
}

TEST_F(OddMessages, AnAttachmentOfFiftyMegabytesIsSavedWholeAndHoldsNothingUp) {
    std::string content(50 << 20, '\0');
    std::mt19937 random(7);
    for (char& c : content)
        c = static_cast<char>(random());
    const std::string encoded = base64EncodedString(content);
    std::string lines;
    lines.reserve(encoded.size() + encoded.size() / 38);
    for (std::size_t at = 0; at < encoded.size(); at += 76)
        lines.append(encoded, at, 76).append("\r\n");
    const Opened opened =
        open(with("multipart/mixed; boundary=b",
                  "--b\r\nContent-Type: text/html\r\n\r\n<p>See the film.</p>\r\n--b\r\n"
                  "Content-Type: text/html; name=\"../film.html\"\r\nContent-Disposition: attachment\r\n"
                  "Content-Transfer-Encoding: base64\r\n\r\n" +
                      lines + "--b--\r\n"));
    EXPECT_THAT(opened.html, HasSubstr("See the film."));
    EXPECT_LT(opened.body.size(), 1000u);
    const auto& attachments = opened.message.at("attachments").as_array();
    ASSERT_EQ(attachments.size(), 1u);
    EXPECT_EQ(attachments[0].at("size").to_number<std::size_t>(), content.size());
    const auto answer = get(lastID_, "parts/" + std::string(attachments[0].at("part").as_string()));
    EXPECT_TRUE(answer.body == content);
    // Whatever it says it is, no browser shows it as a page of ours.
    const auto header = [&](std::string_view name) {
        for (const auto& [key, value] : answer.headers)
            if (key == name) return value;
        return std::string();
    };
    EXPECT_EQ(header("Content-Type"), "application/octet-stream");
    EXPECT_EQ(header("Content-Security-Policy"), "default-src 'none'; sandbox");
    EXPECT_THAT(header("Content-Disposition"), testing::StartsWith("attachment; filename"));
    EXPECT_THAT(header("Content-Disposition"), Not(HasSubstr("/")));
}

}  // namespace
}  // namespace qs
