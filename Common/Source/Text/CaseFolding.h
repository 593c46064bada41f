// Texts made equal where they differ by case alone, in any script.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// For comparing and finding, not for showing: "Straße" becomes "strasse". What is no UTF-8 becomes U+FFFD.
std::string foldedCase(std::string_view text);

}  // namespace qs
