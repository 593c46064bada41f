#include "Accounts/AccountRules.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/MailAddresses.h"

namespace qs {

namespace {

constexpr std::ptrdiff_t kLeastCharacters = 6;
constexpr std::size_t kMostBytes = 200;

}  // namespace

std::string normalisedAddress(std::string_view address) { return asciiLowered(trimmedAscii(address)); }

std::string faultOfAddress(const std::string& normalised) {
    if (normalised.empty()) return "The email address is missing.";
    // Letters to others need a mail server that knows internationalised addresses; many don't.
    const bool isAscii =
        std::all_of(normalised.begin(), normalised.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
    if (!isAscii || !isValidEmail(normalised) || !isDeliverableAddress(normalised)) return "This is no email address.";
    return {};
}

std::string faultOfPassword(std::string_view password) {
    if (password.empty()) return "The password is missing.";
    const auto characters = std::count_if(password.begin(), password.end(), [](char c) { return (c & 0xC0) != 0x80; });
    if (characters < kLeastCharacters) return "The password must have at least 6 characters.";
    if (password.size() > kMostBytes) return "The password is too long.";
    return {};
}

}  // namespace qs
