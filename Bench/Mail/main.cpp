// quillstead-make-mail: a Maildir of made-up mail, to try and to measure with.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "Mail/MailMaker.h"

namespace {

constexpr double kUntil = 1'795'392'000;  // 23 November 2026, so that the same seed gives the same mail on every day

bool readNumber(const char* text, long long& number) {
    const char* const end = text + std::strlen(text);
    const auto read = std::from_chars(text, end, number);
    return read.ec == std::errc() && read.ptr == end && number >= 0 && number <= 100'000'000;
}

}  // namespace

int main(int count, char** arguments) {
    long long messages = 0, seed = 1;
    const bool isRight = (count == 3 || count == 4) && readNumber(arguments[2], messages) &&
                         (count == 3 || readNumber(arguments[3], seed));
    if (!isRight) {
        std::fputs("Usage: quillstead-make-mail FOLDER COUNT [SEED]\n"
                   "Makes the Maildir FOLDER with COUNT messages; the same SEED makes the same ones.\n",
                   stderr);
        return 2;
    }
    try {
        const auto bytes = qs::makeMaildir(
            arguments[1], qs::MailMaker(static_cast<std::uint64_t>(seed), static_cast<int>(messages), kUntil),
            static_cast<int>(messages));
        std::printf("%lld messages, %.1f MB, %.1f kB each\n", messages, static_cast<double>(bytes) / 1e6,
                    messages == 0 ? 0 : static_cast<double>(bytes) / 1e3 / static_cast<double>(messages));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "quillstead-make-mail: %s\n", failure.what());
        return 1;
    }
    return 0;
}
