#include "Foundation/ByteSource.h"

#include <gmock/gmock.h>

namespace qs {
namespace {

// Letters doubled, the number of pieces at the end: tells whether pieces are lost, repeated or out of order.
ByteChange doubling() {
    return [pieces = 0](std::string_view piece, std::string& out) mutable {
        if (piece.empty()) out += std::to_string(pieces);
        ++pieces;
        for (const char c : piece)
            out.append(2, c);
    };
}

std::string readBy(const ByteSource& source, std::size_t step) {
    std::string all, buffer(step, '\0');
    for (;;) {
        const auto length = source(buffer.data(), buffer.size());
        if (!length) return all + "!" + length.error().description;
        if (*length == 0) return all;
        all.append(buffer, 0, *length);
    }
}

TEST(ByteSource, GivesTheSameInPiecesOfAnySize) {
    const std::string rest = "cdef";
    for (const std::size_t step : {1u, 2u, 3u, 100u}) {
        EXPECT_EQ(readBy(sourceOf("ab", sourceOf(rest)), step), "abcdef");
        EXPECT_EQ(readBy(sourceOf("", sourceOf(rest)), step), "cdef");
        EXPECT_EQ(readBy(changed(sourceOf("ab", sourceOf(rest)), doubling()), step), "aabbccddeeff2");
        EXPECT_EQ(readBy(changed(sourceOf(""), doubling()), step), "0");
    }
    EXPECT_EQ(changed("ab", doubling()), "aabb1");
    EXPECT_EQ(startOf(sourceOf("ab", sourceOf(rest)), 3), "abc");
    EXPECT_EQ(startOf(sourceOf("ab", sourceOf(rest)), 100), "abcdef");
    EXPECT_EQ(lengthOf(changed(sourceOf(rest), doubling())), 9u);
}

TEST(ByteSource, AFaultOnTheWayIsNoEnd) {
    const ByteSource broken = [](char*, std::size_t) -> Result<std::size_t> { return failure("test", 1, "broken"); };
    EXPECT_EQ(readBy(sourceOf("ab", broken), 10), "ab!broken");
    EXPECT_FALSE(startOf(sourceOf("ab", broken), 100));
    EXPECT_FALSE(lengthOf(changed(broken, doubling())));
    EXPECT_FALSE(forEachPiece(sourceOf("ab"), [](std::string_view) { return Result<void>(failure("test", 1, "no")); }));
}

}  // namespace
}  // namespace qs
