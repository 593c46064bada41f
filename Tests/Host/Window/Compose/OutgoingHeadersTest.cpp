#include "Compose/OutgoingHeaders.h"

#include <gmock/gmock.h>

#include "Mail/MessageHeaders.h"

namespace qs {
namespace {

using testing::HasSubstr;

OutgoingFields plainFields() {
    OutgoingFields fields;
    fields.fromName = "Ada Lovelace";
    fields.fromAddress = "ada@example.org";
    fields.to = {"ben@example.org"};
    fields.subject = "Minutes";
    fields.uniqueID = "U-1";
    return fields;
}

TEST(OutgoingHeaders, NoFieldBringsInAnother) {
    struct Case {
        const char* why;
        std::function<void(OutgoingFields&, std::string)> put;
    };
    const Case cases[] = {
        {"subject", [](auto& f, auto text) { f.subject = text; }},
        {"recipient", [](auto& f, auto text) { f.to.push_back(text); }},
        {"name of a recipient", [](auto& f, auto text) { f.cc = {"\"" + text + "\" <cy@example.org>"}; }},
        {"own name", [](auto& f, auto text) { f.fromName = text; }},
        {"kept header",
         [](auto& f, auto text) {
             f.others = {{"References", text}};
         }},
        {"name of a kept header",
         [](auto& f, auto text) {
             f.others = {{"X-A\r\nBcc", text}};
         }},
        {"Message-Id", [](auto& f, auto text) { f.messageID = text; }},
    };
    for (const Case& c : cases) {
        for (const char* text : {"x\r\nBcc: eve@example.org", "x\nBcc: eve@example.org", "x\rBcc: eve@example.org"}) {
            OutgoingFields fields = plainFields();
            c.put(fields, text);
            const auto headers = outgoingHeaders(fields, {0});
            EXPECT_FALSE(headers->hasHeaderForKey("Bcc")) << c.why;
            for (const auto& [name, value] : headers->all())
                EXPECT_EQ((name + value).find_first_of("\r\n"), std::string::npos) << c.why << ": " << name;
        }
    }
}

TEST(OutgoingHeaders, ListsThatWerePastedIntoOneEntryAreTakenApart) {
    OutgoingFields fields = plainFields();
    fields.to = {"Ben <ben@example.org>; cy@example.org", "\"Nevis, Dot\" <dot@example.org>"};
    EXPECT_EQ(outgoingHeaders(fields, {0})->firstHeaderForKey("To"),
              "Ben <ben@example.org>, cy@example.org, \"Nevis, Dot\" <dot@example.org>");
}

TEST(OutgoingHeaders, AnObstacleIsNamed) {
    struct Case {
        const char* why;
        std::vector<std::string> to;
        const char* title;  // part of it; null: can be sent
    };
    const Case cases[] = {
        {"an address", {"ben@example.org"}, nullptr},
        {"with a name", {"Ben Nevis <ben@example.org>"}, nullptr},
        {"several in one entry", {"ben@example.org, cy@example.org"}, nullptr},
        {"nobody", {}, "no recipients"},
        {"blanks", {"  "}, "no recipients"},
        {"a bare name", {"ben@example.org", "Ben"}, "“Ben”"},
        {"a second address that is none", {"ben@example.org, cy@"}, "cy@"},
        {"a smuggled header", {"ben@example.org\r\nBcc: eve@example.org"}, "is not an e-mail address"},
        {"an empty domain", {"ben@"}, "“ben@”"},
    };
    for (const Case& c : cases) {
        OutgoingFields fields = plainFields();
        fields.to = c.to;
        const auto obstacle = obstacleToSending(fields);
        ASSERT_EQ(obstacle.has_value(), c.title != nullptr) << c.why;
        if (c.title) {
            EXPECT_THAT(obstacle->title, HasSubstr(c.title)) << c.why;
        }
    }
    OutgoingFields noAccount = plainFields();
    noAccount.fromAddress.clear();
    EXPECT_TRUE(obstacleToSending(noAccount).has_value());
    OutgoingFields onlyBlind = plainFields();
    onlyBlind.to.clear();
    onlyBlind.bcc = {"ben@example.org"};
    EXPECT_FALSE(obstacleToSending(onlyBlind).has_value());
}

}  // namespace
}  // namespace qs
