#include "GRMustacheCase.h"

#include <unicode/ucasemap.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "Text/Ascii.h"

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

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
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
    if (!isAscii(text)) return mapped(text, ucasemap_utf8ToUpper);
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::string mustacheLowercase(std::string_view text) {
    return isAscii(text) ? asciiLowered(text) : mapped(text, ucasemap_utf8ToLower);
}

std::string mustacheCapitalized(std::string_view text) { return mapped(text, ucasemap_utf8ToTitle); }

}  // namespace qs
