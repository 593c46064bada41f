#include "Maildir/MaildirName.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::string_view kInfo = ":2,";
// File names end at 255 bytes; the letters need room.
constexpr std::size_t kLongestUnique = 200;

std::string normalised(std::string_view letters) {
    std::string sorted(letters);
    std::erase_if(sorted, [](char c) { return !isAsciiLetter(c); });
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    return sorted;
}

std::string ownHostName() {
    std::array<char, 256> buffer{};
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return "localhost";
    std::string name;
    for (const char c : std::string_view(buffer.data()))
        name += isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' ? c : '-';
    return name.empty() ? "localhost" : name.substr(0, 64);
}

// Reads decimal digits off the front; nothing when there are none.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end == text.data() || number < 0) return {};
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool takeText(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(expected.size());
    return true;
}

}  // namespace

MaildirName::MaildirName(std::string_view fileName) {
    const std::size_t colon = fileName.find(':');
    unique_ = fileName.substr(0, colon);
    if (colon == std::string_view::npos || !fileName.substr(colon).starts_with(kInfo)) return;
    const std::string_view info = fileName.substr(colon + kInfo.size());
    const auto end = std::find_if_not(info.begin(), info.end(), isAsciiLetter);
    hasInfo_ = true;
    letters_ = normalised({info.begin(), end});
    rest_ = std::string(end, info.end());
}

MaildirName MaildirName::withLetters(std::string_view letters) const {
    MaildirName other = *this;
    other.letters_ = normalised(letters);
    return other;
}

std::string MaildirName::text() const {
    if (!hasInfo_ && letters_.empty()) return unique_;
    return unique_ + std::string(kInfo) + letters_ + rest_;
}

std::string MaildirName::newUnique(Date received) {
    static std::atomic<std::uint64_t> count{0};
    static const std::string host = ownHostName();
    const double time = std::clamp(received.secondsSince1970, 0.0, 1e11);
    const double whole = std::floor(time);
    std::uint32_t random = 0;
    while (::getrandom(&random, sizeof random, 0) != sizeof random) {
    }
    std::array<char, 16> hex{};
    const auto end = std::to_chars(hex.data(), hex.data() + hex.size(), random, 16).ptr;
    return std::to_string(static_cast<std::int64_t>(whole)) + ".M" +
           std::to_string(static_cast<std::int64_t>((time - whole) * 1e6)) + "P" + std::to_string(::getpid()) + "Q" +
           std::to_string(++count) + "R" + std::string(hex.data(), end) + "." + host;
}

std::optional<Date> MaildirName::timeIn(std::string_view unique) {
    const auto seconds = takeNumber(unique);
    if (!seconds || !takeText(unique, ".M")) return {};
    const auto micros = takeNumber(unique);
    if (!micros || *micros > 999'999 || !takeText(unique, "P") || !takeNumber(unique)) return {};
    if (!takeText(unique, "Q") || !takeNumber(unique) || !takeText(unique, "R")) return {};
    return Date{static_cast<double>(*seconds) + static_cast<double>(*micros) * 1e-6};
}

bool MaildirName::isUsable(std::string_view unique) {
    if (unique.empty() || unique.size() > kLongestUnique || unique.front() == '.') return false;
    return std::none_of(unique.begin(), unique.end(), [](char c) { return c == '/' || c == ':' || isAsciiControl(c); });
}

}  // namespace qs
