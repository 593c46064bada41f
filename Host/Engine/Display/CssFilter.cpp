#include "Display/CssFilter.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "Display/CssTokens.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

using Kind = CssToken::Kind;
using Tokens = std::span<const CssToken>;

constexpr std::size_t kMostTokens = 200'000;
constexpr int kDeepestRules = 3;  // @media inside @media

// Nothing that places a box over others, loads, animates or brings text of its own.
constexpr std::array kProperties = {
    std::string_view{"background"},
    std::string_view{"background-color"},
    std::string_view{"border"},
    std::string_view{"border-bottom"},
    std::string_view{"border-bottom-color"},
    std::string_view{"border-bottom-left-radius"},
    std::string_view{"border-bottom-right-radius"},
    std::string_view{"border-bottom-style"},
    std::string_view{"border-bottom-width"},
    std::string_view{"border-collapse"},
    std::string_view{"border-color"},
    std::string_view{"border-left"},
    std::string_view{"border-left-color"},
    std::string_view{"border-left-style"},
    std::string_view{"border-left-width"},
    std::string_view{"border-radius"},
    std::string_view{"border-right"},
    std::string_view{"border-right-color"},
    std::string_view{"border-right-style"},
    std::string_view{"border-right-width"},
    std::string_view{"border-spacing"},
    std::string_view{"border-style"},
    std::string_view{"border-top"},
    std::string_view{"border-top-color"},
    std::string_view{"border-top-left-radius"},
    std::string_view{"border-top-right-radius"},
    std::string_view{"border-top-style"},
    std::string_view{"border-top-width"},
    std::string_view{"border-width"},
    std::string_view{"box-shadow"},
    std::string_view{"box-sizing"},
    std::string_view{"caption-side"},
    std::string_view{"clear"},
    std::string_view{"color"},
    std::string_view{"direction"},
    std::string_view{"display"},
    std::string_view{"empty-cells"},
    std::string_view{"float"},
    std::string_view{"font"},
    std::string_view{"font-family"},
    std::string_view{"font-size"},
    std::string_view{"font-stretch"},
    std::string_view{"font-style"},
    std::string_view{"font-variant"},
    std::string_view{"font-weight"},
    std::string_view{"height"},
    std::string_view{"hyphens"},
    std::string_view{"letter-spacing"},
    std::string_view{"line-height"},
    std::string_view{"list-style"},
    std::string_view{"list-style-position"},
    std::string_view{"list-style-type"},
    std::string_view{"margin"},
    std::string_view{"margin-bottom"},
    std::string_view{"margin-left"},
    std::string_view{"margin-right"},
    std::string_view{"margin-top"},
    std::string_view{"max-height"},
    std::string_view{"max-width"},
    std::string_view{"min-height"},
    std::string_view{"min-width"},
    std::string_view{"opacity"},
    std::string_view{"outline"},
    std::string_view{"outline-color"},
    std::string_view{"outline-style"},
    std::string_view{"outline-width"},
    std::string_view{"overflow"},
    std::string_view{"overflow-wrap"},
    std::string_view{"padding"},
    std::string_view{"padding-bottom"},
    std::string_view{"padding-left"},
    std::string_view{"padding-right"},
    std::string_view{"padding-top"},
    std::string_view{"table-layout"},
    std::string_view{"text-align"},
    std::string_view{"text-decoration"},
    std::string_view{"text-indent"},
    std::string_view{"text-overflow"},
    std::string_view{"text-shadow"},
    std::string_view{"text-transform"},
    std::string_view{"unicode-bidi"},
    std::string_view{"vertical-align"},
    std::string_view{"visibility"},
    std::string_view{"white-space"},
    std::string_view{"width"},
    std::string_view{"word-break"},
    std::string_view{"word-spacing"},
    std::string_view{"word-wrap"},
};
static_assert(std::is_sorted(kProperties.begin(), kProperties.end()));

bool isPlainWord(std::string_view word) {
    return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '_';
    });
}

// In quotes, so nearly every character of a font's name is welcome; none that means something to CSS or HTML.
bool isPlainString(std::string_view text) {
    return isValidUtf8(text) && std::all_of(text.begin(), text.end(), [](char c) {
               return isAsciiLetter(c) || isAsciiDigit(c) || c == ' ' || c == '-' || c == '_' || c == '.' ||
                      static_cast<unsigned char>(c) > 127;
           });
}

bool isPlainNumber(std::string_view text) {
    return text.size() < 40 && std::all_of(text.begin(), text.end(), [](char c) {
               return isAsciiLetter(c) || isAsciiDigit(c) || c == '.' || c == '+' || c == '-' || c == '%';
           });
}

bool isPlainFunction(std::string_view name) {
    static constexpr std::string_view kKnown[] = {"rgb", "rgba", "hsl", "hsla", "calc"};
    return std::any_of(std::begin(kKnown), std::end(kKnown),
                       [&](auto known) { return equalsIgnoringCase(known, name); });
}

Tokens trimmed(Tokens tokens) {
    while (!tokens.empty() && tokens.front().kind == Kind::Space)
        tokens = tokens.subspan(1);
    while (!tokens.empty() && tokens.back().kind == Kind::Space)
        tokens = tokens.first(tokens.size() - 1);
    return tokens;
}

int opens(const CssToken& token) {
    if (token.kind == Kind::Function || token.isMark('(') || token.isMark('[') || token.isMark('{')) return 1;
    return token.isMark(')') || token.isMark(']') || token.isMark('}') ? -1 : 0;
}

// One value token as it is written; nothing when it may not stand in a value.
std::optional<std::string> written(const CssToken& token) {
    switch (token.kind) {
    case Kind::Word:
        if (isPlainWord(token.text)) return token.text;
        break;
    case Kind::Number:
        if (isPlainNumber(token.text)) return token.text;
        break;
    case Kind::Hash:
        if (isPlainWord(token.text)) return "#" + token.text;
        break;
    case Kind::String:
        if (isPlainString(token.text)) return "\"" + token.text + "\"";
        break;
    case Kind::Function:
        if (isPlainFunction(token.text)) return asciiLowered(token.text) + "(";
        break;
    case Kind::Mark:
        if (token.text.find_first_of(",/()+-*") == 0) return token.text;
        break;
    default: break;
    }
    return {};
}

// A parenthesis right behind a number, as in "12pxurl(x)", calls nothing to CSS, but looks like a call to who reads
// less well.
bool seemsToCall(const CssToken& token, std::string_view before) {
    return token.isMark('(') && !before.empty() && isPlainWord(before.substr(before.size() - 1));
}

class Filter {
public:
    explicit Filter(std::string_view css) : tokens_(cssTokens(css, kMostTokens)) {}

    FilteredCss declarations() {
        countRemote(tokens_);
        result_.css = declarationsIn(tokens_, "; ");
        return std::move(result_);
    }

    FilteredCss styleSheet() {
        countRemote(tokens_);
        result_.css = rulesIn(tokens_, 0);
        return std::move(result_);
    }

private:
    // Everything that would have loaded, wherever it stands: the number is for the person, not for safety.
    void countRemote(Tokens tokens) {
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            const std::string_view address = trimmedAscii(tokens[i].text);
            const bool isLocal = address.empty() || address.starts_with('#') ||
                                 startsWithIgnoringCase(address, "data:") || startsWithIgnoringCase(address, "cid:");
            if (tokens[i].kind == Kind::Url && !isLocal) ++result_.remoteBlocked;
            const bool isImport = tokens[i].kind == Kind::AtWord && equalsIgnoringCase(address, "import");
            if (isImport && i + 2 < tokens.size() && tokens[i + 2].kind == Kind::String) ++result_.remoteBlocked;
        }
    }

    static std::string declarationsIn(Tokens tokens, std::string_view separator) {
        std::string out;
        std::size_t start = 0;
        int depth = 0;
        for (std::size_t i = 0; i <= tokens.size(); ++i) {
            if (i < tokens.size()) depth = std::max(0, depth + opens(tokens[i]));
            if (i < tokens.size() && (depth > 0 || !tokens[i].isMark(';'))) continue;
            const std::string one = declaration(trimmed(tokens.subspan(start, i - start)));
            if (!one.empty()) out += (out.empty() ? "" : std::string(separator)) + one;
            start = i + 1;
        }
        return out;
    }

    static std::string declaration(Tokens tokens) {
        if (tokens.empty() || tokens[0].kind != Kind::Word) return {};
        const std::string property = asciiLowered(tokens[0].text);
        if (!std::binary_search(kProperties.begin(), kProperties.end(), std::string_view(property))) return {};
        tokens = trimmed(tokens.subspan(1));
        if (tokens.empty() || !tokens[0].isMark(':')) return {};
        const std::string value = valueOf(trimmed(tokens.subspan(1)));
        return value.empty() ? std::string() : property + ": " + value;
    }

    static std::string valueOf(Tokens tokens) {
        const bool isImportant = tokens.size() >= 2 && tokens.back().kind == Kind::Word &&
                                 equalsIgnoringCase(tokens.back().text, "important") &&
                                 tokens[tokens.size() - 2].isMark('!');
        if (isImportant) tokens = trimmed(tokens.first(tokens.size() - 2));
        std::string out;
        int depth = 0;
        bool wantsSpace = false;
        for (const CssToken& token : tokens) {
            if (token.kind == Kind::Space) {
                wantsSpace = true;
                continue;
            }
            const auto text = written(token);
            depth += opens(token);
            if (!text || depth < 0 || depth > 10 || (!wantsSpace && seemsToCall(token, out))) return {};
            const bool hugs = token.isMark(',') || token.isMark(')') || out.empty() || out.back() == '(';
            if (wantsSpace && !hugs) out += ' ';
            out += *text;
            wantsSpace = token.isMark(',');
        }
        if (depth != 0 || out.empty()) return {};
        return out + (isImportant ? " !important" : "");
    }

    // Rules one after the other: "selector { ... }", "@media ... { rules }"; every other @rule is passed over.
    static std::string rulesIn(Tokens tokens, int level) {
        std::string out;
        std::size_t at = 0;
        while (at < tokens.size()) {
            const std::size_t prelude = at;
            const bool isAtRule =
                trimmed(tokens.subspan(at)).size() > 0 && trimmed(tokens.subspan(at))[0].kind == Kind::AtWord;
            while (at < tokens.size() && !tokens[at].isMark('{') && !(isAtRule && tokens[at].isMark(';')))
                ++at;
            const Tokens head = trimmed(tokens.subspan(prelude, at - prelude));
            if (at == tokens.size()) break;
            const std::size_t body = at + 1;
            if (tokens[at].isMark('{'))
                for (int depth = 1; depth > 0 && ++at < tokens.size();)
                    depth += tokens[at].isMark('{') ? 1 : tokens[at].isMark('}') ? -1 : 0;
            const Tokens inside = body <= at ? tokens.subspan(body, std::min(at, tokens.size()) - body) : Tokens{};
            ++at;
            out += rule(head, inside, level);
        }
        return out;
    }

    static std::string rule(Tokens head, Tokens inside, int level) {
        if (head.empty()) return {};
        if (head[0].kind == Kind::AtWord) {
            if (!equalsIgnoringCase(head[0].text, "media") || level >= kDeepestRules) return {};
            const std::string query = preludeOf(trimmed(head.subspan(1)), "():,");
            const std::string rules = rulesIn(inside, level + 1);
            return query.empty() || rules.empty() ? std::string() : "@media " + query + " {\n" + rules + "}\n";
        }
        const std::string selector = preludeOf(head, ".#*>+~:,()[]=^$|");
        const std::string declarations = declarationsIn(inside, "; ");
        return selector.empty() || declarations.empty() ? std::string() : selector + " { " + declarations + " }\n";
    }

    // A selector or media query, written anew; empty when something in it is not known.
    static std::string preludeOf(Tokens tokens, std::string_view marks) {
        std::string out;
        for (const CssToken& token : tokens) {
            if (seemsToCall(token, out)) return {};
            if (token.kind == Kind::Space)
                out += ' ';
            else if (token.kind == Kind::Mark && marks.find(token.text) != std::string_view::npos)
                out += token.text;
            else if (token.kind == Kind::Function && isPlainWord(token.text))
                out += token.text + "(";
            else if (token.kind == Kind::Word || token.kind == Kind::Hash || token.kind == Kind::String ||
                     token.kind == Kind::Number) {
                const auto text = written(token);
                if (!text) return {};
                out += *text;
            } else
                return {};
        }
        return out;
    }

    std::vector<CssToken> tokens_;
    FilteredCss result_;
};

}  // namespace

FilteredCss filteredDeclarations(std::string_view css) { return Filter(css).declarations(); }
FilteredCss filteredStyleSheet(std::string_view css) { return Filter(css).styleSheet(); }

}  // namespace qs
