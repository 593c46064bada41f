#include "Foundation/Locale.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace qs {

std::string englishCountryName(const std::string& locale) {
    const icu::Locale place = locale.empty() ? icu::Locale::getDefault() : icu::Locale::createCanonical(locale.c_str());
    if (!*place.getCountry()) return {};
    icu::UnicodeString name;
    std::string text;
    place.getDisplayCountry(icu::Locale::getUS(), name).toUTF8String(text);
    return text;
}

}  // namespace qs
