#include "Foundation/Bundle.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include "Foundation/PropertyList.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

// The languages of the environment are the user's; each test sets its own.
class BundleTest : public ::testing::Test {
protected:
    BundleTest() {
        for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
            ::unsetenv(name);
        folder_.write("B.mailbundle/Info.plist",
                      xmlPropertyList(Dictionary{{"CFBundleIdentifier", "com.example.b"}, {"CFBundleVersion", "17"}}));
    }
    std::shared_ptr<Bundle> open() { return Bundle::open(folder_ / "B.mailbundle").value(); }
    void writeTexts(const char* language, const char* table, const Dictionary& texts) {
        folder_.write("B.mailbundle/Resources/" + std::string(language) + ".lproj/" + table + ".strings",
                      xmlPropertyList(texts));
    }

    TemporaryFolder folder_;
};

TEST_F(BundleTest, KnowsItsFactsAndResources) {
    folder_.write("B.mailbundle/Resources/Table.plist", "x");
    folder_.write("secret.plist", "x");
    const auto bundle = open();
    EXPECT_EQ(bundle->identifier(), "com.example.b");
    EXPECT_EQ(bundle->infoDictionary().at("CFBundleVersion").integerValue(), 17);
    EXPECT_EQ(bundle->pathForResource("Table", "plist"), folder_ / "B.mailbundle/Resources/Table.plist");
    EXPECT_EQ(bundle->pathForResource("Table.plist", ""), folder_ / "B.mailbundle/Resources/Table.plist");
    for (const char* name : {"Missing", "", "../../secret", "/etc/passwd"})
        EXPECT_TRUE(bundle->pathForResource(name, "plist").empty()) << name;
}

TEST_F(BundleTest, SaysWhatIsWrongWithAFolder) {
    folder_.write("NoInfo.mailbundle/other", "x");
    folder_.write("Damaged.mailbundle/Info.plist", "<plist><dict><key>a</key>");
    folder_.write("Odd.mailbundle/Info.plist", "<plist><array/></plist>");
    const struct {
        const char* name;
        const char* problem;
    } cases[] = {{"Nowhere.mailbundle", "is not there"},
                 {"NoInfo.mailbundle", "Info.plist cannot be read"},
                 {"Damaged.mailbundle", "<dict> is not closed"},
                 {"Odd.mailbundle", "no dictionary"}};
    for (const auto& c : cases) {
        const auto bundle = Bundle::open(folder_ / c.name);
        ASSERT_FALSE(bundle) << c.name;
        EXPECT_THAT(bundle.error().description, HasSubstr(c.problem));
        EXPECT_THAT(bundle.error().description, HasSubstr(c.name));
    }
}

TEST_F(BundleTest, SpeaksTheUsersLanguageThenEnglishThenTheKey) {
    writeTexts("en", "Localizable", {{"Send", "Send!"}, {"Later", "Later!"}});
    writeTexts("de", "Localizable", {{"Send", "Senden"}});
    writeTexts("de_AT", "Localizable", {{"Send", "Schicken"}});
    writeTexts("en", "Alerts", {{"Send", "Really?"}});
    const struct {
        const char* variable;
        const char* value;
        const char* send;
        const char* later;
    } cases[] = {{"LANG", "C.UTF-8", "Send!", "Later!"},
                 {"LANG", "de_DE.UTF-8", "Senden", "Later!"},
                 {"LANG", "de_AT.UTF-8@euro", "Schicken", "Later!"},
                 {"LANGUAGE", "fr:de:en", "Senden", "Later!"},
                 {"LC_ALL", "ja_JP.UTF-8", "Send!", "Later!"}};
    for (const auto& c : cases) {
        ::setenv(c.variable, c.value, 1);
        const auto bundle = open();
        EXPECT_EQ(bundle->localizedStringForKey("Send"), c.send) << c.value;
        EXPECT_EQ(bundle->localizedStringForKey("Later"), c.later) << c.value;
        EXPECT_EQ(bundle->localizedStringForKey("Unknown"), "Unknown");
        EXPECT_EQ(bundle->localizedStringForKey("Unknown", "fallback"), "fallback");
        EXPECT_EQ(bundle->localizedStringForKey("Send", {}, "Alerts"), "Really?");
        EXPECT_EQ(bundle->localizedStringForKey("Send", {}, "../../../x"), "Send");
        ::unsetenv(c.variable);
    }
}

TEST_F(BundleTest, ADamagedTableIsLoggedAndTheKeyShown) {
    folder_.write("B.mailbundle/Resources/en.lproj/Localizable.strings", "<plist><dict>");
    const LogCapture log;
    EXPECT_EQ(open()->localizedStringForKey("Send"), "Send");
    EXPECT_TRUE(log.contains("Localizable.strings"));
}

}  // namespace
}  // namespace qs
