#include "Text/MessageIds.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(MessageIds, TravelInURLs) {
    for (const char* id : {"<1.2@engine.example>", "<a%b@c>", "bare@engine.example", ""}) {
        const std::string url = messageURLForMessageID(id);
        EXPECT_EQ(url, std::string("message://") + id);
        EXPECT_EQ(HTMLUnescapedMessageID(HTMLEscapedMessageID(url)), id);
    }
    EXPECT_EQ(HTMLEscapedMessageID("message://<1.2@engine.example>"), "message://%3C1.2%40engine.example%3E");
    EXPECT_EQ(HTMLEscapedMessageID("a&b c%3C"), "a&b c%3C") << "nothing else is escaped";
    EXPECT_EQ(HTMLUnescapedMessageID("%3ca%40b%3e"), "%3ca@b%3e") << "only as they are written";
}

TEST(MessageIds, OfContents) {
    const struct {
        const char *text, *id;
    } cases[] = {
        {"<cid:picture@x>", "picture@x"},
        {"cid:picture@x", "picture@x"},
        {"<picture@x>", "picture@x"},
        {"cid:<picture@x>", "picture@x"},
        {"pic<>cid:ture", "piccid:ture"},
        {"cid:cid:x", "cid:x"},
        {"CID:x", "CID:x"},
        {"", ""},
        {"<<cid:>>", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(trimmedContentID(c.text), c.id) << c.text;
}

}  // namespace
}  // namespace qs
