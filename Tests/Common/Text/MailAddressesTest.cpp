#include "Text/MailAddresses.h"

#include <gtest/gtest.h>

#include <random>

#include "Text/Ascii.h"
#include "Text/RegularExpression.h"

namespace qs {
namespace {

TEST(MailAddresses, TheLastOneCounts) {
    const struct {
        const char* text;
        std::optional<std::string> address, domain;
    } cases[] = {
        {"Ada <ADA.L+x@Engine.EXAMPLE.org>", "ada.l+x@engine.example.org", "engine.example.org"},
        {"ada@engine.example", "ada@engine.exam", "engine.exam"},
        {"a@x.de, b@y.de", "b@y.de", "y.de"},
        {"a@x.de and b@localhost", "a@x.de", "x.de"},
        {"\"ada@home.de\" <ada@work.de>", "ada@work.de", "work.de"},
        {"a@b@c.de", "b@c.de", "c.de"},
        {"a@b.community@c.de", "unity@c.de", "c.de"},
        {"mailto:a_b%c@x-y.co.uk?subject=x.y", "a_b%c@x-y.co.uk", "x-y.co.uk"},
        {"a@x.de.", "a@x.de", "x.de"},
        {"a@x.de.1", "a@x.de", "x.de"},
        {"a@..de", "a@..de", "..de"},
        {"Grüße@x.de", "e@x.de", "x.de"},
        {"a@x.d", std::nullopt, std::nullopt},
        {"@x.de", std::nullopt, std::nullopt},
        {"a@.de", std::nullopt, std::nullopt},
        {"a @x.de", std::nullopt, std::nullopt},
        {"", std::nullopt, std::nullopt},
        {"no address", std::nullopt, std::nullopt},
        {"\xFF\xFE"
         "a@x.de\xFF",
         "a@x.de", "x.de"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(emailAddress(c.text), c.address) << c.text;
        EXPECT_EQ(domainComponent(c.text), c.domain) << c.text;
    }
}

TEST(MailAddresses, AreCheckedAsAWhole) {
    const struct {
        const char* text;
        bool isValid;
    } cases[] = {
        {"ada@engine.example", true},
        {"a@b@c.museum", true},
        {"what ever@x.de", true},
        {"ä@x.de", true},
        {"a@x-.de", true},
        {"a@x.De", true},
        {"", false},
        {"@x.de", false},
        {"a@x", false},
        {"a@x.d", false},
        {"a@x.d1", false},
        {"a@.de", false},
        {"a@x..de", false},
        {"a@x.de ", false},
        {"a@x.de\n", false},
        {"a\nb@x.de", false},
        {"a\u2028b@x.de", false},
        {"a@ü.de", false},
        {"a@x_y.de", false},
        {"\xFF@x.de", false},
        {"Ada <ada@engine.example>", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(isValidEmail(c.text), c.isValid) << c.text;
}

// What the patterns say, walked by a regular expression engine.
TEST(MailAddresses, AreThoseOfTheirPatterns) {
    const auto address = RegularExpression::enRegexWithPattern("([A-Za-z0-9._%+-]+@([A-Za-z0-9.-]+\\.[A-Za-z]{2,4}))");
    const auto valid = RegularExpression::enRegexWithPattern("^.+@([A-Za-z0-9-]+\\.)+[A-Za-z]{2}[A-Za-z]*$");
    ASSERT_TRUE(address && valid);
    std::mt19937 random(7);
    constexpr std::string_view kCharacters = "aaBc1._%+-@@.. <\n";
    for (int round = 0; round < 20'000; ++round) {
        std::string text(random() % 24, ' ');
        for (char& c : text)
            c = kCharacters[random() % kCharacters.size()];
        const auto groups = address->enCapturedSubstringsOfString(text);
        const auto expected = [&](std::size_t group) {
            return groups.empty() ? std::nullopt : std::optional(asciiLowered(groups[groups.size() - 3 + group]));
        };
        ASSERT_EQ(emailAddress(text), expected(0)) << text;
        ASSERT_EQ(domainComponent(text), expected(2)) << text;
        ASSERT_EQ(isValidEmail(text), valid->enMatchesString(text)) << text;
    }
}

TEST(MailAddresses, AreFoundInTextsOfAnyLength) {
    constexpr std::size_t kHuge = 2'000'000;  // bytes: with quadratic time this does not end
    const std::string letters(kHuge, 'a');
    EXPECT_EQ(emailAddress(letters), std::nullopt);
    EXPECT_EQ(emailAddress(std::string(kHuge, '@')), std::nullopt);
    EXPECT_EQ(emailAddress("a@" + std::string(kHuge, '.')), std::nullopt);
    EXPECT_EQ(emailAddress(letters + "@" + letters), std::nullopt);
    EXPECT_EQ(emailAddress(letters + "@x.de").value().size(), kHuge + 5);
    std::string pairs;
    for (std::size_t i = 0; i < kHuge / 4; ++i)
        pairs += "a@b.";
    EXPECT_EQ(emailAddress(pairs), std::nullopt);
    EXPECT_FALSE(isValidEmail("a@" + pairs));
}

TEST(MailAddresses, TellsDeliverableOnes) {
    for (const char* good : {"a@b.c", "a.b+c@localhost", "jörg@müller.example", "\"a b\"@c.d", "a@[127.0.0.1]"})
        EXPECT_TRUE(isDeliverableAddress(good)) << good;
    for (const char* bad : {"", "a", "@b.c", "a@", "a b@c.d", "a@b c", "a@b.c\r\nRCPT TO:<x@y.z>", "a@b..c", "a@-b.c",
                            "a@b.c>", "<a@b.c>", "\"a\"b\"@c.d", ".a@b.c", "a@b@c.d\x01"})
        EXPECT_FALSE(isDeliverableAddress(bad)) << bad;
}

}  // namespace
}  // namespace qs
