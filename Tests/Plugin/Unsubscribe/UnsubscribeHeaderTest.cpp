// What is read from a newsletter's headers, whatever stands there.
#include "Unsubscribe/UnsubscribeHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "External/AFNetworking/AFHTTPSessionManager.h"
#include "Mail/MessageHeaders.h"
#include "Mail/UrlList.h"
#include "Unsubscribe/QSUnsubscribeManager.h"

namespace qs {
namespace {

constexpr const char* kList = "List-Unsubscribe";

TEST(UnsubscribeHeader, BothGenerationsFindTheSameAddresses) {
    struct Case {
        const char* why;
        std::vector<std::string> fields;
        const char *mail, *web;
    };
    for (const Case& c : {
             Case{"both in one field",
                  {"<mailto:leave@news.example?subject=leave>, <https://news.example/leave?r=1>"},
                  "mailto:leave@news.example?subject=leave",
                  "https://news.example/leave?r=1"},
             Case{"in two fields",
                  {"<http://news.example/a>", "<mailto:a@b.example>"},
                  "mailto:a@b.example",
                  "http://news.example/a"},
             Case{"the last of a kind wins",
                  {"<https://one.example/>,<mailto:a@b.example>, <https://two.example/>, <mailto:c@d.example>"},
                  "mailto:c@d.example",
                  "https://two.example/"},
             Case{"no brackets", {"mailto:a@b.example"}, "mailto:a@b.example", ""},
             Case{"quotes for brackets", {"\"https://news.example/leave\""}, "", ""},
             Case{"neither kind", {"<ftp://news.example/leave>, <tel:1234>"}, "", ""},
             Case{"the case of the scheme counts", {"<HTTPS://news.example/>, <Mailto:a@b.example>"}, "", ""},
             Case{"words only", {"write to us"}, "", ""},
             Case{"nothing", {}, "", ""},
             Case{"never closed", {"<https://news.example/leave"}, "", "https://news.example/leave"},
         }) {
        MessageHeaders headers;
        for (const std::string& field : c.fields)
            headers.append(kList, field);
        const auto now = unsubscribeAddressesIn(urlListForKey(headers, kList));
        const auto before = unsubscribeAddressesIn(piecesAtCommas(headers.allHeadersForKey(kList)));
        const bool isQuoted = std::string_view(c.why).starts_with("quotes");
        EXPECT_EQ(now.mail, c.mail) << c.why;
        EXPECT_EQ(now.web, c.web) << c.why;
        EXPECT_EQ(before.mail, c.mail) << c.why;
        EXPECT_EQ(before.web, isQuoted ? "https://news.example/leave" : c.web) << c.why;
    }
}

TEST(UnsubscribeHeader, FoldingCommentsAndCommasInAddressesAreUnderstood) {
    MessageHeaders headers;
    headers.append(kList, "(Use this (or that, if need be) to leave) <https://news.example/\r\n leave?ids=1,2>, "
                          "(by mail)\t<mailto:a@b.example>");
    EXPECT_THAT(urlListForKey(headers, kList),
                testing::ElementsAre("https://news.example/leave?ids=1,2", "mailto:a@b.example"));
}

TEST(UnsubscribeHeader, OneClickIsDeclaredInOneForm) {
    EXPECT_TRUE(declaresOneClick({" list-unsubscribe=one-click "}));
    for (const char* field : {"", "List-Unsubscribe", "List-Unsubscribe=Two-Click", "a List-Unsubscribe=One-Click"})
        EXPECT_FALSE(declaresOneClick({field})) << field;
}

TEST(UnsubscribeHeader, AMailAddressTellsWhatToWrite) {
    struct Case {
        const char* url;
        std::optional<std::string> to, subject;
        const char* body;
    };
    for (const Case& c : {
             Case{"mailto:leave@news.org", "leave@news.org", {}, ""},
             Case{"mailto:Leave-7%2Ba@News.org?subject=leave", "leave-7%2ba@news.org", "leave", ""},
             Case{"mailto:leave@news.example", "leave@news.example", {}, ""},
             Case{"mailto:<leave@news.museum>?x", "leave@news.museum", {}, ""},
             Case{"mailto:a@b.org?SUBJECT=Please%20go&Body=id=7&cc=eve@c.org", "a@b.org", "Please%20go", "id=7"},
             Case{"mailto:a@b.org?body=a=b=c&subject=", "a@b.org", "", "a=b=c"},
             Case{"mailto:a@b.org?subject", "a@b.org", "", ""},
             Case{"mailto:a@b.org?subject=why?&body=x", "a@b.org", "why", ""},
             Case{"mailto:?subject=x", {}, "x", ""},
             Case{"mailto:nobody", {}, {}, ""},
         }) {
        const UnsubscribeMail mail = unsubscribeMailFrom(c.url);
        EXPECT_EQ(mail.to, c.to) << c.url;
        EXPECT_EQ(mail.subject, c.subject) << c.url;
        EXPECT_EQ(mail.body, c.body) << c.url;
    }
}

TEST(UnsubscribeHeader, AQueryBecomesAForm) {
    struct Case {
        const char *url, *posted, *body, *place;
    };
    for (const Case& c : {
             Case{"https://news.example/leave?r=ada&list=The%20Deckle", "https://news.example/leave",
                  "list=The%20Deckle&r=ada", "news.example"},
             Case{"http://news.example:8080/?a=1&a=2&b#top", "http://news.example:8080/",
                  "a=2&b=", "news.example:8080"},
             Case{"https://news.example/käse?x=|", "https://news.example/k%C3%A4se", "x=%7C", "news.example"},
             Case{"https://news.example", "https://news.example", "", "news.example"},
             Case{"https://news.example/a?&=1&c=a%3Db", "https://news.example/a", "c=a%3Db", "news.example"},
         }) {
        const auto form = unsubscribeFormFrom(c.url);
        ASSERT_TRUE(form) << c.url;
        EXPECT_EQ(form->url, c.posted);
        EXPECT_EQ(AFQueryStringFromParameters(form->parameters), c.body);
        EXPECT_EQ(form->place, c.place);
    }
    for (const char* url : {"", "http", "http:", "https:///leave", "httpx://news.example/",
                            "http://ada:pw@news.example/", "https://ada@news.example/", "mailto:a@b.org"})
        EXPECT_FALSE(unsubscribeFormFrom(url)) << url;
}

TEST(UrlField, TakesAnAddressOfTheWebAndNothingElse) {
    for (const char* text : {"http://www.news.example/a?b=c", "https://cloud.example:8443/dav", "www.news.example"})
        EXPECT_TRUE(isValidURLString(text)) << text;
    for (const char* text : {"", "two words.example", "http://", "see http://news.example/", "https://news.example/ x"})
        EXPECT_FALSE(isValidURLString(text)) << text;
}

}  // namespace
}  // namespace qs
