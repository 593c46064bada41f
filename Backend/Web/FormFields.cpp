#include "Web/FormFields.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/Escapes.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr int kMostFields = 100;

std::string decoded(std::string_view text) {
    std::string spaced(text);
    std::replace(spaced.begin(), spaced.end(), '+', ' ');
    return validUtf8(percentDecoded(spaced));
}

}  // namespace

FormFields formFields(std::string_view encoded) {
    FormFields fields;
    for (int count = 0; !encoded.empty() && count < kMostFields; ++count) {
        const auto end = std::min(encoded.find('&'), encoded.size());
        const std::string_view piece = encoded.substr(0, end);
        encoded.remove_prefix(std::min(end + 1, encoded.size()));
        const auto equals = std::min(piece.find('='), piece.size());
        if (piece.empty()) continue;
        fields[decoded(piece.substr(0, equals))] = decoded(piece.substr(std::min(equals + 1, piece.size())));
    }
    return fields;
}

std::string field(const FormFields& fields, std::string_view name) {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string() : found->second;
}

std::optional<BasicCredentials> basicCredentials(std::string_view header) {
    if (!startsWithIgnoringCase(header, "Basic ")) return std::nullopt;
    const auto plain = dataFromBase64String(header.substr(6));
    if (!plain) return std::nullopt;
    const auto colon = plain->find(':');
    if (colon == std::string::npos) return std::nullopt;
    return BasicCredentials{plain->substr(0, colon), plain->substr(colon + 1)};
}

}  // namespace qs
