#include "Mime/Addresses.h"

#include <gtest/gtest.h>

#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"

namespace qs {
namespace {

TEST(Addresses, ReadsWhatPeopleAndProgramsWrite) {
    struct Case {
        const char* why;
        const char* field;
        const char* read;  // "name|address;..."
    };
    for (const Case& c : {
             Case{"a bare address", "ada@example.org", "|ada@example.org;"},
             Case{"a name", "Ada Lovelace <ada@example.org>", "Ada Lovelace|ada@example.org;"},
             Case{"a quoted name with a comma", "\"Lovelace, Ada\" <a@b.c>, d@e.f", "Lovelace, Ada|a@b.c;|d@e.f;"},
             Case{"quotes in quotes", "\"Ada \\\"Countess\\\" L\" <a@b.c>", "Ada \"Countess\" L|a@b.c;"},
             Case{"an encoded name", "=?utf-8?Q?Ad=C3=A9?= <a@b.c>", "Adé|a@b.c;"},
             Case{"an encoded comma is no comma", "=?utf-8?Q?a=2C_b=40c.d?= <a@b.c>", "a, b@c.d|a@b.c;"},
             Case{"a group", "Team: a@b.c, D <d@e.f>;, g@h.i", "|a@b.c;D|d@e.f;|g@h.i;"},
             Case{"nobody", "undisclosed-recipients:;", ""},
             Case{"a comment names", "a@b.c (Ada (the) first)", "Ada the first|a@b.c;"},
             Case{"semicolons between", "a@b.c; d@e.f", "|a@b.c;|d@e.f;"},
             Case{"a forgotten comma", "A <a@b.c> D <d@e.f>", "A|a@b.c;D|d@e.f;"},
             Case{"an old route", "<@x.y,@z.w:a@b.c>", "|a@b.c;"},
             Case{"an address as name", "\"x@y.z\" <a@b.c>", "x@y.z|a@b.c;"},
             Case{"a quoted local part", "\"a b\"@c.d", "|\"a b\"@c.d;"},
             Case{"an international address", "jörg@müller.example", "|jörg@müller.example;"},
             Case{"what is no address", "ada, <bob>, b@c.d", "ada|;bob|;|b@c.d;"},
             Case{"an open bracket", "A <a@b.c", "A|a@b.c;"},
             Case{"an open quote", "\"A <a@b.c>", "A <a@b.c>|;"},
             Case{"Latin-1", "J\xF6rg <a@b.c>", "Jörg|a@b.c;"},
         }) {
        std::string read;
        for (const MailAddress& address : parseAddresses(c.field))
            read += address.name + "|" + address.address + ";";
        EXPECT_EQ(read, c.read) << c.why;
    }
}

TEST(Addresses, DisplayFormIsReadBackAsTheSame) {
    for (const char* name : {"", "Ada", "Lovelace, Ada", "a \"b\" \\c", "x@y.z", "Zoë (home)", ";:<>"}) {
        const MailAddress address{name, "a@b.c"};
        const auto read = parseAddresses(address.display() + ", d@e.f");
        ASSERT_EQ(read.size(), 2u) << address.display();
        EXPECT_EQ(read[0].address, "a@b.c") << address.display();
        EXPECT_EQ(read[0].name, name) << address.display();
    }
}

TEST(Addresses, ANameThatShowsAnAddressIsNotBelieved) {
    for (const auto& [address, shown] : {std::pair{MailAddress{"Ada", "ada@example.org"}, "Ada"},
                                         {MailAddress{"", "ada@example.org"}, "ada@example.org"},
                                         {MailAddress{"Bank <help@bank.example>", "x@evil.example"}, "x@evil.example"},
                                         {MailAddress{"help＠bank.example", "x@evil.example"}, "x@evil.example"},
                                         {MailAddress{"nobody", ""}, "nobody"}})
        EXPECT_EQ(address.shownName(), shown);
}

TEST(MessageHeaders, FindsAndReplacesWithoutRegardToCase) {
    MessageHeaders headers;
    headers.append("Received", "one");
    headers.append("Subject", "a");
    headers.append("received", "two");
    headers.append("SUBJECT", "b");
    EXPECT_EQ(headers.firstHeaderForKey("subject"), "a");
    EXPECT_EQ(headers.allHeadersForKey("RECEIVED").size(), 2u);
    headers.setHeader("c", "Subject");
    headers.setHeader("new", "X-New");
    ASSERT_EQ(headers.all().size(), 4u);
    EXPECT_EQ(headers.all()[1].second, "c") << "at the place of the first";
    headers.removeHeaderForKey("Received");
    EXPECT_FALSE(headers.hasHeaderForKey("received"));
    EXPECT_EQ(headers.all().size(), 2u);
}

TEST(MessageHeaders, AValueNeverSmugglesInAnotherHeader) {
    MessageHeaders headers;
    headers.setHeader("a\r\nBcc: x@y.z", "Subject");
    headers.append("X:\r\nEvil", "b\nc\x7F\x1B[31m");
    EXPECT_EQ(headers.firstHeaderForKey("Subject"), "a Bcc: x@y.z");
    EXPECT_EQ(headers.firstHeaderForKey("XEvil"), "b c  [31m");
    EXPECT_FALSE(headers.hasHeaderForKey("Bcc"));
    headers.append("\r\n", "x");
    EXPECT_EQ(headers.all().size(), 2u);
}

TEST(MessageHeaders, FindsIdsAndAddresses) {
    MessageHeaders headers;
    headers.append("Message-ID", " <1.2@x.y> ");
    headers.append("In-Reply-To", "Your mail of Monday <3@x.y>");
    headers.append("References", "<a@b> <c@d>");
    headers.append("X-Bare", "5@x.y");
    headers.append("X-None", "<>");
    headers.append("To", "\"x@y.z\" <ada@example.org>, b@c.d");
    EXPECT_EQ(headers.firstMessageIDForKey(MCHeaderKeyMessageId), "1.2@x.y");
    EXPECT_EQ(headers.firstMessageIDForKey(MCHeaderKeyInReplyTo), "3@x.y");
    EXPECT_EQ(headers.firstMessageIDForKey(MCHeaderKeyReferences), "a@b");
    EXPECT_EQ(headers.firstMessageIDForKey("X-Bare"), "5@x.y");
    EXPECT_EQ(headers.firstMessageIDForKey("X-None"), std::nullopt);
    EXPECT_EQ(headers.firstAddressForKey(MCHeaderKeyTo), "ada@example.org");
    EXPECT_EQ(headers.firstAddressForKey(MCHeaderKeyCc), std::nullopt);
}

TEST(ParseHeaders, DecodesUnfoldsAndSurvives) {
    const auto headers = parseHeaders("Subject: =?iso-8859-1?Q?Gr=FC=DFe?=\r\n =?utf-8?B?4oKs?=\r\n"
                                      "X-Folded: a\r\n\tb\r\n"
                                      "this line is no header\r\n"
                                      "X-Latin: caf\xE9\r\n"
                                      "X-Utf: café\r\n"
                                      "X-Unknown: =?no-such-set?Q?abc?=\r\n"
                                      "X-Injected: =?utf-8?Q?a=0D=0ABcc:_x=40y.z?=\r\n"
                                      "To: =?utf-8?Q?a=2C_evil=40x.y?= <b@c.d>\r\n"
                                      "\r\nBody: no header\r\n");
    EXPECT_EQ(headers->firstHeaderForKey("Subject"), "Grüße€");
    EXPECT_EQ(headers->firstHeaderForKey("X-Folded"), "a b");
    EXPECT_EQ(headers->firstHeaderForKey("X-Latin"), "café");
    EXPECT_EQ(headers->firstHeaderForKey("X-Utf"), "café");
    EXPECT_TRUE(headers->hasHeaderForKey("X-Unknown"));
    EXPECT_EQ(headers->firstHeaderForKey("X-Injected"), "a Bcc: x@y.z");
    EXPECT_EQ(headers->firstAddressForKey("To"), "b@c.d");
    EXPECT_FALSE(headers->hasHeaderForKey("Body"));
    EXPECT_EQ(parseHeaders("")->all().size(), 0u);
    EXPECT_EQ(parseHeaders("From x@y Mon Jan 1\nSubject: a\n\n")->firstHeaderForKey("Subject"), "a");
    EXPECT_EQ(parseHeaders("Subject: cut off")->firstHeaderForKey("Subject"), "cut off");
}

}  // namespace
}  // namespace qs
