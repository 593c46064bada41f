#include "GRMustacheCase.h"

#include <unicode/ucasemap.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

namespace qs {

namespace {

using Mapping = int32_t (*)(const UCaseMap* map, char* out, int32_t room, const char* text, int32_t length,
                            UErrorCode* error);

struct CloseMap {
    void operator()(UCaseMap* map) const { ucasemap_close(map); }
};

// Title case keeps its search for words in the map, so each thread has one.
UCaseMap* threadsMap() {
    thread_local const std::unique_ptr<UCaseMap, CloseMap> map = [] {
        UErrorCode error = U_ZERO_ERROR;
        return std::unique_ptr<UCaseMap, CloseMap>(ucasemap_open("", 0, &error));
    }();
    return map.get();
}

constexpr std::uint64_t everyByte(unsigned byte) { return 0x0101010101010101u * byte; }

// In each of eight ASCII characters, turns the case of the letters from `first` to `last`.
std::uint64_t withTurnedCase(std::uint64_t characters, unsigned first, unsigned last) {
    // Sums that reach the top bit, without going beyond it.
    const std::uint64_t reachesFirst = characters + everyByte(0x80 - first);
    const std::uint64_t passesLast = characters + everyByte(0x7F - last);
    return characters ^ ((reachesFirst & ~passesLast & everyByte(0x80)) >> 2);  // 0x20 tells the cases apart
}

// Nothing when other characters than ASCII are in the text.
std::optional<std::string> asciiWithTurnedCase(std::string_view text, char first, char last) {
    std::string out(text);
    for (std::size_t at = 0; at < out.size(); at += 8) {
        const std::size_t length = std::min<std::size_t>(8, out.size() - at);
        std::uint64_t characters = 0;
        std::memcpy(&characters, out.data() + at, length);
        if (characters & everyByte(0x80)) return {};
        characters = withTurnedCase(characters, static_cast<unsigned char>(first), static_cast<unsigned char>(last));
        std::memcpy(out.data() + at, &characters, length);
    }
    return out;
}

// The text as it is when ICU can't map it, which happens with texts beyond its range of lengths only.
template <class Map>
std::string mapped(std::string_view text, Map mapping) {
    if (text.size() > std::numeric_limits<int32_t>::max() / 4 || !threadsMap()) return std::string(text);
    std::string out(text.size() + 16, '\0');
    for (;;) {
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length = mapping(threadsMap(), out.data(), static_cast<int32_t>(out.size()), text.data(),
                                       static_cast<int32_t>(text.size()), &error);
        if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) return std::string(text);
        out.resize(static_cast<std::size_t>(length));
        if (U_SUCCESS(error)) return out;
    }
}

}  // namespace

std::string mustacheUppercase(std::string_view text) {
    auto ascii = asciiWithTurnedCase(text, 'a', 'z');
    return ascii ? std::move(*ascii) : mapped(text, ucasemap_utf8ToUpper);
}

std::string mustacheLowercase(std::string_view text) {
    auto ascii = asciiWithTurnedCase(text, 'A', 'Z');
    return ascii ? std::move(*ascii) : mapped(text, ucasemap_utf8ToLower);
}

std::string mustacheCapitalized(std::string_view text) { return mapped(text, ucasemap_utf8ToTitle); }

}  // namespace qs
