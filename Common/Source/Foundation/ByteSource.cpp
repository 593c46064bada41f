#include "Foundation/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace qs {

ByteSource sourceOf(std::string_view text) {
    return [text](char* buffer, std::size_t size) mutable -> Result<std::size_t> {
        const std::size_t length = std::min(size, text.size());
        if (length > 0) std::memcpy(buffer, text.data(), length);
        text.remove_prefix(length);
        return length;
    };
}

ByteSource sourceOf(std::string_view first, ByteSource rest) {
    return [start = sourceOf(first), rest = std::move(rest)](char* buffer, std::size_t size) -> Result<std::size_t> {
        const auto length = start(buffer, size);
        return length && *length > 0 ? length : rest(buffer, size);
    };
}

ByteSource changed(ByteSource source, ByteChange change) {
    struct Way {
        std::string in, out;
        std::size_t given = 0;
        bool isOver = false;
    };
    return [source = std::move(source), change = std::move(change),
            way = Way()](char* buffer, std::size_t size) mutable -> Result<std::size_t> {
        while (way.given == way.out.size() && !way.isOver) {
            way.in.resize(kPieceBytes);
            const auto length = source(way.in.data(), way.in.size());
            if (!length) return failed(length);
            way.out.clear();
            way.given = 0;
            way.isOver = *length == 0;
            change(std::string_view(way.in).substr(0, *length), way.out);
        }
        const std::size_t length = std::min(size, way.out.size() - way.given);
        if (length > 0) std::memcpy(buffer, way.out.data() + way.given, length);
        way.given += length;
        return length;
    };
}

std::string changed(std::string_view text, const ByteChange& change) {
    std::string out;
    out.reserve(text.size() + text.size() / 32);
    if (!text.empty()) change(text, out);
    change({}, out);
    return out;
}

Result<void> forEachPiece(const ByteSource& source, const std::function<Result<void>(std::string_view piece)>& visit) {
    std::string buffer(kPieceBytes, '\0');
    for (;;) {
        const auto length = source(buffer.data(), buffer.size());
        if (!length) return failed(length);
        if (*length == 0) return {};
        if (auto visited = visit(std::string_view(buffer).substr(0, *length)); !visited) return visited;
    }
}

Result<std::string> startOf(const ByteSource& source, std::size_t limit) {
    std::string text;
    while (text.size() < limit) {
        const std::size_t have = text.size();
        text.resize(have + std::min(kPieceBytes, limit - have));
        const auto length = source(text.data() + have, text.size() - have);
        if (!length) return failed(length);
        text.resize(have + *length);
        if (*length == 0) break;
    }
    return text;
}

Result<std::uint64_t> lengthOf(const ByteSource& source) {
    std::uint64_t length = 0;
    auto read = forEachPiece(source, [&](std::string_view piece) -> Result<void> {
        length += piece.size();
        return {};
    });
    if (!read) return failed(read);
    return length;
}

}  // namespace qs
