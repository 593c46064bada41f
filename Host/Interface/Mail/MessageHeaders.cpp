#include "Mail/MessageHeaders.h"

#include <algorithm>

#include "Mail/AddressScan.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// Line ends and control characters become spaces; a CR LF becomes one.
std::string cleanedValue(std::string_view value) {
    std::string cleaned;
    cleaned.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\r' && i + 1 < value.size() && value[i + 1] == '\n') continue;
        cleaned += isAsciiControl(value[i]) ? ' ' : value[i];
    }
    return cleaned;
}

// What RFC 5322 allows in a field's name.
std::string cleanedName(std::string_view name) {
    std::string cleaned;
    for (const char c : name)
        if (c > 32 && c < 127 && c != ':') cleaned += c;
    return cleaned;
}

// The first "<...>", or for bare ids the first word.
std::string firstIdIn(std::string_view value) {
    if (const auto start = value.find('<'); start != std::string_view::npos) {
        const auto end = value.find('>', start);
        value = value.substr(start + 1, end == std::string_view::npos ? end : end - start - 1);
    }
    value = trimmedAscii(value);
    return std::string(value.substr(0, value.find_first_of(" \t")));
}

}  // namespace

std::optional<std::string> MessageHeaders::firstHeaderForKey(std::string_view key) const {
    for (const auto& [name, value] : fields_)
        if (equalsIgnoringCase(name, key)) return value;
    return {};
}

bool MessageHeaders::hasHeaderForKey(std::string_view key) const {
    return std::any_of(fields_.begin(), fields_.end(),
                       [&](const auto& field) { return equalsIgnoringCase(field.first, key); });
}

std::vector<std::string> MessageHeaders::allHeadersForKey(std::string_view key) const {
    std::vector<std::string> values;
    for (const auto& [name, value] : fields_)
        if (equalsIgnoringCase(name, key)) values.push_back(value);
    return values;
}

void MessageHeaders::setHeader(std::string_view value, std::string_view forKey) {
    const auto isKey = [&](const auto& field) { return equalsIgnoringCase(field.first, forKey); };
    const auto first = std::find_if(fields_.begin(), fields_.end(), isKey);
    if (first == fields_.end()) return append(std::string(forKey), std::string(value));
    first->second = cleanedValue(value);
    fields_.erase(std::remove_if(first + 1, fields_.end(), isKey), fields_.end());
}

void MessageHeaders::removeHeaderForKey(std::string_view key) {
    std::erase_if(fields_, [&](const auto& field) { return equalsIgnoringCase(field.first, key); });
}

void MessageHeaders::append(std::string name, std::string value) {
    name = cleanedName(name);
    if (!name.empty()) fields_.emplace_back(std::move(name), cleanedValue(value));
}

std::optional<std::string> MessageHeaders::firstMessageIDForKey(std::string_view key) const {
    for (const std::string& value : allHeadersForKey(key))
        if (std::string id = firstIdIn(value); !id.empty()) return id;
    return {};
}

std::vector<std::string> MessageHeaders::messageIDListForKey(std::string_view key) const {
    std::vector<std::string> ids;
    for (const std::string& value : allHeadersForKey(key)) {
        std::string_view rest = value;
        for (auto start = rest.find('<'); start != std::string_view::npos; start = rest.find('<')) {
            rest.remove_prefix(start);
            if (std::string id = firstIdIn(rest); !id.empty()) ids.push_back(std::move(id));
            rest.remove_prefix(1);
        }
    }
    return ids;
}

std::optional<std::string> MessageHeaders::firstAddressForKey(std::string_view key) const {
    for (const std::string& value : allHeadersForKey(key))
        for (ScannedAddress& found : scanAddresses(value))
            if (!found.address.empty()) return std::move(found.address);
    return {};
}

}  // namespace qs
