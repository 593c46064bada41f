#include "Text/CaseFolding.h"

#include <unicode/unistr.h>

namespace qs {

std::string foldedCase(std::string_view text) {
    std::string folded;
    icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())}).foldCase().toUTF8String(folded);
    return folded;
}

}  // namespace qs
