#include "Text/LinkFinder.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/IcuText.h"

namespace qs {

namespace {

// The pieces are named by the letters in the pattern's shortened form: \b P (C | G)+ (G | L)

bool isSpace(UChar32 c) { return u_isUWhiteSpace(c) != 0; }
// Of a group in brackets: [^\s()<>]
bool isInGroup(UChar32 c) { return !isSpace(c) && c != '(' && c != ')' && c != '<' && c != '>'; }
// C: [^\s()<>\\]
bool isBody(UChar32 c) { return isInGroup(c) && c != '\\'; }
// L: an address does not end with punctuation, which belongs to the sentence around it.
bool isLast(UChar32 c) {
    constexpr std::u16string_view kPunctuation = u"`![]{};:'\".,?\u00AB\u00BB\u201C\u201D\u2018\u2019";
    return isBody(c) && (c > 0xFFFF || kPunctuation.find(static_cast<char16_t>(c)) == std::u16string_view::npos);
}
bool isHost(UChar32 c) {
    return c < 128 &&
           (isAsciiLetter(static_cast<char>(c)) || isAsciiDigit(static_cast<char>(c)) || c == '.' || c == '-');
}
bool isLetter(UChar32 c) { return c < 128 && isAsciiLetter(static_cast<char>(c)); }

// As \w in ICU.
bool isWord(UChar32 c) {
    return u_isUAlphabetic(c) || (U_GET_GC_MASK(c) & (U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK)) != 0 || c == 0x200C ||
           c == 0x200D;
}

class LinkSearch {
public:
    explicit LinkSearch(const icu::UnicodeString& text) : text_(text) {}

    std::optional<icu::UnicodeString> first() {
        for (int32_t at = 0; at < text_.length(); at = text_.moveIndex32(at, 1)) {
            if (!isHost(at_(at)) || !isWordBoundary(at)) continue;
            for (const int32_t prefix : {schemeLength(at), wwwLength(at), hostLength(at)}) {
                const int32_t end = prefix > 0 ? linkEnd(at + prefix) : -1;
                if (end >= 0) return text_.tempSubStringBetween(at, end);
            }
        }
        return std::nullopt;
    }

private:
    UChar32 at_(int32_t index) const { return index < text_.length() ? text_.char32At(index) : -1; }

    // At a host character: whether the character before, apart from marks on it, is of the other kind.
    bool isWordBoundary(int32_t at) const {
        const auto combines = [](UChar32 c) {
            return u_hasBinaryProperty(c, UCHAR_GRAPHEME_EXTEND) || u_charType(c) == U_FORMAT_CHAR;
        };
        bool before = false;
        for (int32_t i = at; i > 0;) {
            i = text_.moveIndex32(i, -1);
            const UChar32 c = text_.char32At(i);
            if (combines(c)) continue;
            before = isWord(c);
            break;
        }
        return isWord(text_.char32At(at)) != before;
    }

    bool standsAt(int32_t at, std::string_view lowerCase) const {
        return std::ranges::all_of(lowerCase, [&](char wanted) {
            const UChar32 c = at_(at++);
            return c >= 0 && c < 128 && asciiLower(static_cast<char>(c)) == wanted;
        });
    }
    int32_t schemeLength(int32_t at) const { return standsAt(at, "http://") ? 7 : standsAt(at, "https://") ? 8 : 0; }
    // "www", up to three digits, a dot.
    int32_t wwwLength(int32_t at) const {
        if (!standsAt(at, "www")) return 0;
        int32_t end = at + 3;
        for (int digits = 0; digits < 3 && u_charType(at_(end)) == U_DECIMAL_DIGIT_NUMBER; ++digits)
            end = text_.moveIndex32(end, 1);
        return at_(end) == '.' ? end + 1 - at : 0;
    }
    // A host name that ends with a dot and two to four letters, and the slash behind it. The slash is no host
    // character, so all starts in a run of host characters have the same end.
    int32_t hostLength(int32_t at) {
        if (at >= runEnd_) {
            runEnd_ = at;
            while (isHost(at_(runEnd_)))
                ++runEnd_;
            dot_ = runEnd_;
            while (dot_ > at && isLetter(text_.charAt(dot_ - 1)))
                --dot_;
            const int32_t letters = runEnd_ - dot_--;
            const bool fits = letters >= 2 && letters <= 4 && dot_ > at && text_.charAt(dot_) == '.';
            if (!fits || at_(runEnd_) != '/') dot_ = -1;
        }
        return at < dot_ ? runEnd_ + 1 - at : 0;
    }

    // G: brackets around anything without blanks, and around such brackets. Behind it, or -1.
    int32_t groupEnd(int32_t at) const {
        if (at_(at) != '(') return -1;
        bool inner = false, innerIsEmpty = false;
        for (++at;; at = text_.moveIndex32(at, 1)) {
            const UChar32 c = at_(at);
            if (c == ')') {
                if (!inner) return at + 1;
                if (innerIsEmpty) return -1;
                inner = false;
            } else if (c == '(' && !inner) {
                inner = innerIsEmpty = true;
            } else if (c >= 0 && isInGroup(c)) {
                innerIsEmpty = false;
            } else {
                return -1;
            }
        }
    }

    // Behind the link whose prefix ends at `at`: as many pieces as there are, less those at the end that can't be last.
    // There must be one piece before the last. -1 for no link.
    int32_t linkEnd(int32_t at) const {
        int32_t end = -1;
        for (bool isFirst = true;; isFirst = false) {
            const UChar32 c = at_(at);
            if (c < 0) return end;
            const bool isGroup = c == '(';
            if (!isGroup && !isBody(c)) return end;
            at = isGroup ? groupEnd(at) : text_.moveIndex32(at, 1);
            if (at < 0) return end;
            if (!isFirst && (isGroup || isLast(c))) end = at;
        }
    }

    const icu::UnicodeString& text_;
    int32_t runEnd_ = 0;  // of the run of host characters that was looked at last
    int32_t dot_ = -1;    // before its last letters, when it ends like a host name
};

}  // namespace

std::optional<std::string> containingURLString(std::string_view text) {
    const icu::UnicodeString wide = icuText(text);
    const auto link = LinkSearch(wide).first();
    if (!link) return std::nullopt;
    return utf8Text(*link);
}

}  // namespace qs
