#include "MailtoAddress.h"

#include <gmock/gmock.h>

#include "ComposeWindow.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Mailto, TellsRecipientsSubjectAndText) {
    struct Case {
        const char* why;
        const char* url;
        std::vector<std::string> to, cc, bcc;
        std::string subject, body;
    };
    for (const Case& c : {
             Case{"an address alone", "mailto:ada@example.org", {"ada@example.org"}, {}, {}, "", ""},
             Case{"nothing at all", "mailto:", {}, {}, {}, "", ""},
             Case{"the scheme in capitals", "MAILTO:ada@example.org", {"ada@example.org"}, {}, {}, "", ""},
             Case{"all fields, in any case",
                  "mailto:a@x.org,b@x.org?CC=c@x.org&bcc=d@x.org&to=e@x.org&Subject=Hi&body=Text",
                  {"a@x.org", "b@x.org", "e@x.org"},
                  {"c@x.org"},
                  {"d@x.org"},
                  "Hi",
                  "Text"},
             Case{"percent signs and UTF-8",
                  "mailto:?subject=Gr%C3%BC%C3%9Fe%20%26%20mehr",
                  {},
                  {},
                  {},
                  "Grüße & mehr",
                  ""},
             Case{"a plus is a plus", "mailto:a+b@x.org?subject=1+1", {"a+b@x.org"}, {}, {}, "1+1", ""},
             Case{"an encoded comma belongs to a name",
                  "mailto:%22Lovelace%2C%20Ada%22%20%3Ca@x.org%3E",
                  {"\"Lovelace, Ada\" <a@x.org>"},
                  {},
                  {},
                  "",
                  ""},
             Case{"line ends in the text",
                  "mailto:?body=one%0D%0Atwo%0Dthree%0Afour",
                  {},
                  {},
                  {},
                  "",
                  "one\ntwo\nthree\nfour"},
             Case{"an equals sign in a value", "mailto:?subject=a=b", {}, {}, {}, "a=b", ""},
             Case{"broken percent signs stand as they are",
                  "mailto:?subject=100%&body=%zz%4",
                  {},
                  {},
                  {},
                  "100%",
                  "%zz%4"},
         }) {
        const auto request = parseMailtoAddress(c.url);
        ASSERT_TRUE(request) << c.why;
        EXPECT_EQ(request->to, c.to) << c.why;
        EXPECT_EQ(request->cc, c.cc) << c.why;
        EXPECT_EQ(request->bcc, c.bcc) << c.why;
        EXPECT_EQ(request->subject, c.subject) << c.why;
        EXPECT_EQ(request->plainBody, c.body) << c.why;
    }
}

TEST(Mailto, AStrangersAddressBringsInNothingElse) {
    const auto request = parseMailtoAddress(
        "mailto:a@x.org%0D%0ABcc:%20spy@x.org?attach=/etc/passwd&attachment=/etc/passwd&from=eve@x.org"
        "&subject=Hi%0D%0ABcc:%20spy@x.org&body=a%00b%1Bc&in-reply-to=x");
    ASSERT_TRUE(request);
    EXPECT_THAT(request->to, ElementsAre("a@x.org  Bcc: spy@x.org")) << "no recipient of its own, no second line";
    EXPECT_EQ(request->subject, "Hi  Bcc: spy@x.org");
    EXPECT_EQ(request->plainBody, "abc");
    EXPECT_EQ(request->account, "");
    EXPECT_THAT(request->bcc, IsEmpty());
    EXPECT_EQ(request->message, nullptr);
}

TEST(Mailto, OthersAreNotOurs) {
    for (const std::string& url : {std::string("http://example.org"), std::string("quillstead://login"), std::string(),
                                   std::string("mail to:x"), "mailto:" + std::string(200'000, 'a')})
        EXPECT_FALSE(parseMailtoAddress(url)) << url.substr(0, 40);
    std::string many = "mailto:a@x.org";
    for (int i = 0; i < 5'000; ++i)
        many += ",a@x.org";
    EXPECT_LE(parseMailtoAddress(many)->to.size(), 500u) << "a bound on what one click can ask for";
}

}  // namespace
}  // namespace qs
