#include "HostOptions.h"

#include <gmock/gmock.h>

namespace qs {
namespace {

using ::testing::HasSubstr;

TEST(HostOptions, AreUnderstoodInBothForms) {
    const auto options = parseHostOptions({"--demo", "--port", "8080", "--data=/tmp/a b", "--os-minor=10",
                                           "--no-plugin", "--open-url", "mailto:ada@example.org?subject=a=b"});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->demo);
    EXPECT_EQ(options->port, 8080);
    EXPECT_EQ(options->data, "/tmp/a b");
    EXPECT_EQ(options->osMinor, 10);
    EXPECT_TRUE(options->noPlugIn);
    EXPECT_FALSE(options->noBrowser);
    EXPECT_EQ(options->openURL, "mailto:ada@example.org?subject=a=b");
}

TEST(HostOptions, AnAddressOfTheDesktopNeedsNoOption) {
    EXPECT_EQ(parseHostOptions({"mailto:a@example.org?subject=--demo"})->openURL,
              "mailto:a@example.org?subject=--demo");
    EXPECT_EQ(parseHostOptions({"quillstead://link?x=1"})->openURL, "quillstead://link?x=1");
    EXPECT_FALSE(parseHostOptions({"https://example.org/"})) << "nothing that we open";
}

TEST(HostOptions, WhatMakesNoSenseIsNamed) {
    const struct {
        std::vector<std::string> arguments;
        const char* sentence;
    } cases[] = {
        {{"--colour"}, "There is no option '--colour'."},
        {{"--demo", "mail"}, "There is no option 'mail'."},
        {{""}, "There is no option ''."},
        {{"--port"}, "The option --port needs a value."},
        {{"--port", "65536"}, "The option --port can't be '65536'"},
        {{"--port", "-1"}, "The option --port can't be '-1'"},
        {{"--port", "80x"}, "The option --port can't be '80x'"},
        {{"--port="}, "The option --port can't be ''"},
        {{"--os-minor", "13"}, "it takes 10|11|12"},
        {{"--data", ""}, "The option --data can't be ''"},
        {{"--demo=yes"}, "The option --demo takes no value."},
        {{"--virtual-clock", "nan"}, "The option --virtual-clock can't be 'nan'"},
    };
    for (const auto& c : cases) {
        const auto options = parseHostOptions(c.arguments);
        ASSERT_FALSE(options) << c.sentence;
        EXPECT_THAT(options.error().description, HasSubstr(c.sentence));
    }
}

TEST(HostOptions, TheHelpTellsOfEveryOptionForPeople) {
    const std::string help = hostHelp();
    for (const char* name : {"--demo", "--port N", "--data DIR", "--os-minor 10|11|12", "--no-browser", "--no-plugin",
                             "--reinstall", "--open-url URL", "--version"})
        EXPECT_THAT(help, HasSubstr(name));
    EXPECT_THAT(help, ::testing::Not(HasSubstr("virtual"))) << "for tests only";
}

}  // namespace
}  // namespace qs
