#include "Compose/ReplyText.h"

#include <gmock/gmock.h>

#include "Foundation/DateFormatter.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"

namespace qs {
namespace {

using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Fields = std::vector<std::pair<std::string, std::string>>;
using Addresses = std::vector<std::string>;

MessageHeaders headersOf(const Fields& fields) {
    MessageHeaders headers;
    for (const auto& [name, value] : fields)
        headers.append(name, value);
    return headers;
}

TEST(ReplyRecipients, AreThoseWhoShouldHearTheAnswer) {
    const OwnAddresses own{{"ada@example.org"}, {"ada@example.org", "ada@work.example"}};
    struct Case {
        const char* why;
        Fields original;
        bool toAll;
        Addresses to, cc;
    };
    const Case cases[] = {
        {"the sender",
         {{"From", "Ben Nevis <ben@example.org>"}, {"To", "ada@example.org"}},
         false,
         {"Ben Nevis <ben@example.org>"},
         {}},
        {"where he wants answers",
         {{"From", "ben@example.org"}, {"Reply-To", "office@example.org, desk@example.org"}},
         false,
         {"office@example.org", "desk@example.org"},
         {}},
        {"an answer address that is none leaves the sender",
         {{"From", "ben@example.org"}, {"Reply-To", "nobody"}},
         false,
         {"ben@example.org"},
         {}},
        {"everybody but oneself",
         {{"From", "ben@example.org"},
          {"To", "ADA@Example.org, Cy <cy@example.org>"},
          {"Cc", "dot@example.org, Ada <ada@work.example>"}},
         true,
         {"ben@example.org", "Cy <cy@example.org>"},
         {"dot@example.org"}},
        {"each address once",
         {{"From", "ben@example.org"},
          {"To", "Ben@example.org, cy@example.org, cy@example.org"},
          {"Cc", "cy@example.org, ben@example.org"}},
         true,
         {"ben@example.org", "cy@example.org"},
         {}},
        {"one's own message goes on to those it went to",
         {{"From", "ada@example.org"}, {"To", "ben@example.org"}, {"Cc", "cy@example.org"}},
         false,
         {"ben@example.org"},
         {}},
        {"and all of them",
         {{"From", "ada@example.org"}, {"To", "ben@example.org"}, {"Cc", "cy@example.org"}},
         true,
         {"ben@example.org"},
         {"cy@example.org"}},
        {"a note to oneself", {{"From", "ada@example.org"}, {"To", "ada@example.org"}}, true, {"ada@example.org"}, {}},
        {"another account of one's own is answered like anybody",
         {{"From", "ada@work.example"}, {"To", "ada@example.org"}},
         true,
         {"ada@work.example"},
         {}},
        {"no sender at all", {{"To", "ada@example.org"}}, false, {}, {}},
    };
    for (const Case& c : cases) {
        const Recipients found = replyRecipients(headersOf(c.original), c.toAll, own);
        EXPECT_THAT(found.to, ElementsAreArray(c.to)) << c.why;
        EXPECT_THAT(found.cc, ElementsAreArray(c.cc)) << c.why;
    }
}

TEST(ReplyRecipients, AFloodOfAddressesIsCut) {
    std::string flood;
    for (int i = 0; i < 20'000; ++i)
        flood += "a" + std::to_string(i) + "@example.org,";
    const Recipients found = replyRecipients(headersOf({{"From", "ben@example.org"}, {"Cc", flood}}), true, {});
    EXPECT_LE(found.cc.size(), 500u);
}

TEST(ReplySubject, HasOnePrefix) {
    struct Case {
        const char *subject, *reply, *forward;
    };
    for (const Case& c :
         {Case{"Minutes", "Re: Minutes", "Fwd: Minutes"},
          Case{"RE: re: Minutes", "Re: Minutes", "Fwd: RE: re: Minutes"},
          Case{"Fw: FWD:Minutes", "Re: Fw: FWD:Minutes", "Fwd: Minutes"}, Case{"", "Re: ", "Fwd: "},
          Case{"AW: Re: Minutes", "Re: Minutes", "Fwd: AW: Re: Minutes"},
          Case{"WG: Minutes", "Re: WG: Minutes", "Fwd: Minutes"}, Case{"Report", "Re: Report", "Fwd: Report"}}) {
        EXPECT_EQ(replySubject(c.subject), c.reply);
        EXPECT_EQ(forwardSubject(c.subject), c.forward);
    }
}

TEST(KeptBlanks, AreThoseThatIndentAndAlign) {
    struct Case {
        const char *why, *text, *kept;
    };
    for (const Case& c :
         {Case{"between words", "a b\nc d", "a b\nc d"}, Case{"in front", "  a\n b", "\u00A0\u00A0a\n\u00A0b"},
          Case{"a run", "a   b", "a \u00A0\u00A0b"},
          Case{"behind the marks of a quotation", ">  a\n> > b\n>> c", "> \u00A0a\n> > b\n>> c"},
          Case{"a tab to its stop", "123456\ta", "123456 \u00A0a"},
          Case{"counted in characters", "Größe\ta", "Größe \u00A0\u00A0a"},
          Case{"an address ends at its own end", "http://a.example \tb",
               "http://a.example \u00A0\u00A0\u00A0\u00A0\u00A0\u00A0\u00A0b"}})
        EXPECT_EQ(withKeptBlanks(c.text), c.kept) << c.why;
}

TEST(ReplyThread, NamesTheMessagesBeforeIt) {
    struct Case {
        const char* why;
        Fields original;
        std::string references;
    };
    const Case cases[] = {
        {"the first answer", {{"Message-Id", "<a@x>"}}, "<a@x>"},
        {"further down", {{"Message-Id", "<c@x>"}, {"References", "<a@x> <b@x>"}}, "<a@x> <b@x> <c@x>"},
        {"a program that writes no References", {{"Message-Id", "<b@x>"}, {"In-Reply-To", "<a@x>"}}, "<a@x> <b@x>"},
        {"several ids there say nothing certain", {{"Message-Id", "<c@x>"}, {"In-Reply-To", "<a@x> <b@x>"}}, "<c@x>"},
        {"an id twice", {{"Message-Id", "<b@x>"}, {"References", "<b@x> <a@x>"}}, "<a@x> <b@x>"},
        {"broken ids are left out",
         {{"Message-Id", "<b@x>"}, {"References", "<> <a b@x> <a@x> <never ends"}},
         "<a@x> <b@x>"},
        {"no id", {{"References", "<a@x>"}}, "<a@x>"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(referencesTo(headersOf(c.original)), c.references) << c.why;

    std::string longThread;
    for (int i = 0; i < 1000; ++i)
        longThread += "<" + std::to_string(i) + "@x> ";
    const std::string cut = referencesTo(headersOf({{"Message-Id", "<last@x>"}, {"References", longThread}}));
    EXPECT_THAT(cut, StartsWith("<0@x> "));
    EXPECT_THAT(cut, EndsWith("<999@x> <last@x>"));
    EXPECT_LT(cut.size(), 1000u);
}

class Quotation : public testing::Test {
protected:
    Quotation() { setDefaultTimeZone("UTC"); }
    ~Quotation() override { setDefaultTimeZone({}); }
};

TEST_F(Quotation, TellsWhoWroteAndWhen) {
    EXPECT_THAT(
        attribution(headersOf({{"From", "Ben <ben@example.org>"}, {"Date", "Sun, 22 Nov 2026 22:00:00 +0000"}})),
        testing::AllOf(StartsWith("On "), HasSubstr("2026, 22:00"), EndsWith(", Ben wrote:")));
    EXPECT_EQ(attribution(headersOf({{"From", "ben@example.org"}})), "ben@example.org wrote:");
    EXPECT_EQ(attribution(headersOf({{"From", "\"Bank <help@bank.example>\" <x@evil.example>"}})),
              "x@evil.example wrote:")
        << "not whom it claims to be";
    EXPECT_EQ(attribution(headersOf({{"From", "the office"}})), "the office wrote:");
}

TEST_F(Quotation, HeadersOfAStrangerAreTextInIt) {
    const auto headers = headersOf({{"From", "\"<img src=x onerror=a()>\" <ben@example.org>"},
                                    {"Subject", "<script>alert(1)</script>"},
                                    {"Date", "<b>never</b>"}});
    for (const std::string& html : {quotedForReply(headers, "<p>Hi</p>"), quotedForForward(headers, "<p>Hi</p>")}) {
        HtmlDocument document(html);
        EXPECT_TRUE(document.body().elementsByTagName("script").empty());
        EXPECT_TRUE(document.body().elementsByTagName("img").empty());
        ASSERT_EQ(document.body().elementsByTagName("blockquote").size(), 1u);
        EXPECT_THAT(document.body().elementsByTagName("blockquote").front().textContent(), HasSubstr("Hi"));
        EXPECT_EQ(document.body().elementsByClassName("AppleOriginalContents").size(), 1u) << "plug-ins look for it";
    }
}

}  // namespace
}  // namespace qs
