// Bytes that come piece by piece, so that what is large never lies in memory as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

// Fills a part of the buffer and answers how much of it; 0 at the end.
using ByteSource = std::function<Result<std::size_t>(char* buffer, std::size_t size)>;

inline constexpr std::size_t kPieceBytes = 64 * 1024;  // that are asked of a source at once

ByteSource sourceOf(std::string_view text);  // the text must outlive it
// One after the other.
ByteSource sourceOf(std::string_view first, ByteSource rest);

// Bytes that change on their way: is given piece after piece, and an empty one at the end; appends what goes on.
using ByteChange = std::function<void(std::string_view piece, std::string& out)>;
ByteSource changed(ByteSource source, ByteChange change);
std::string changed(std::string_view text, const ByteChange& change);

// The pieces of a source in order, until source or visitor fails.
Result<void> forEachPiece(const ByteSource& source, const std::function<Result<void>(std::string_view piece)>& visit);
// As much as there is, but no more than `limit`.
Result<std::string> startOf(const ByteSource& source, std::size_t limit);
Result<std::uint64_t> lengthOf(const ByteSource& source);  // reads it to its end

// A source of a known length, for those who must announce it. One that ends earlier is broken.
struct SizedSource {
    std::uint64_t size = 0;
    ByteSource read;

    SizedSource() = default;
    SizedSource(std::uint64_t givenSize, ByteSource givenRead) : size(givenSize), read(std::move(givenRead)) {}
    SizedSource(std::string_view text) : size(text.size()), read(sourceOf(text)) {}  // must outlive it
};

}  // namespace qs
