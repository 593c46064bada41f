#include "Text/Charsets.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(Charsets, StrictlyOrNotAtAll) {
    const struct {
        const char *charset, *text;
        std::optional<std::string> bytes;
    } cases[] = {
        {"utf-8", "ä€", "\xC3\xA4\xE2\x82\xAC"},   {"iso-8859-15", "€", "\xA4"},  {"windows-1252", "“x”", "\x93x\x94"},
        {"shift_jis", "日本", "\x93\xFA\x96\x7B"}, {"gb18030", "中", "\xD6\xD0"}, {"us-ascii", "é", std::nullopt},
        {"iso-8859-1", "€", std::nullopt},         {"", "x", std::nullopt},       {"x-unknown", "x", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bytesInCharset(c.text, c.charset), c.bytes) << c.charset;
        if (c.bytes) {
            EXPECT_EQ(textInCharset(*c.bytes, c.charset), c.text) << c.charset;
        }
    }
    EXPECT_EQ(textInCharset("\xC3(", "utf-8"), std::nullopt);
    EXPECT_EQ(textInCharset("\x80", "us-ascii"), std::nullopt);
    EXPECT_EQ(textInCharset("x", "x-unknown"), std::nullopt);
}

}  // namespace
}  // namespace qs
