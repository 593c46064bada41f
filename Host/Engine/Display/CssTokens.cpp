#include "Display/CssTokens.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

using Kind = CssToken::Kind;

bool isWordByte(char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '_' || static_cast<unsigned char>(c) > 127;
}
bool isHexDigit(char c) { return isAsciiDigit(c) || (asciiLower(c) >= 'a' && asciiLower(c) <= 'f'); }

class Tokenizer {
public:
    explicit Tokenizer(std::string_view css) : css_(css) {}

    std::vector<CssToken> run(std::size_t limit) {
        std::vector<CssToken> tokens;
        while (at_ < css_.size() && tokens.size() < limit)
            if (!skipComment()) tokens.push_back(next());
        return tokens;
    }

private:
    char peek(std::size_t ahead = 0) const { return at_ + ahead < css_.size() ? css_[at_ + ahead] : '\0'; }

    // Comments, and the "<!--" and "-->" that hide style from very old programs.
    bool skipComment() {
        const std::string_view rest = css_.substr(at_);
        if (rest.starts_with("/*")) {
            const std::size_t end = css_.find("*/", at_ + 2);
            at_ = end == std::string_view::npos ? css_.size() : end + 2;
            return true;
        }
        const std::size_t length = rest.starts_with("<!--") ? 4 : rest.starts_with("-->") ? 3 : 0;
        at_ += length;
        return length > 0;
    }

    bool beginsEscape(std::size_t ahead = 0) const {
        return peek(ahead) == '\\' && at_ + ahead + 1 < css_.size() && peek(ahead + 1) != '\n';
    }
    bool beginsWord() const {
        const std::size_t ahead = peek() == '-' ? 1 : 0;
        const char c = peek(ahead);
        return (isWordByte(c) && !isAsciiDigit(c)) || beginsEscape(ahead);
    }
    bool beginsNumber() const {
        const std::size_t sign = peek() == '+' || peek() == '-' ? 1 : 0;
        return isAsciiDigit(peek(sign)) || (peek(sign) == '.' && isAsciiDigit(peek(sign + 1)));
    }

    CssToken next() {
        const char c = peek();
        if (isAsciiSpace(c)) {
            while (isAsciiSpace(peek()) && at_ < css_.size())
                ++at_;
            return {Kind::Space, " "};
        }
        if (c == '"' || c == '\'') return string();
        if (beginsNumber()) return number();
        if (beginsWord()) return wordOrFunction();
        ++at_;
        if (c == '#' && (isWordByte(peek()) || beginsEscape())) return {Kind::Hash, word()};
        if (c == '@' && beginsWord()) return {Kind::AtWord, word()};
        return {Kind::Mark, std::string(1, c)};
    }

    void escape(std::string& out) {
        ++at_;
        if (!isHexDigit(peek())) {
            const std::size_t length = std::max<std::size_t>(utf8CharacterLength(css_.substr(at_)), 1);
            out += css_.substr(at_, length);
            at_ += length;
            return;
        }
        char32_t number = 0;
        for (int i = 0; i < 6 && isHexDigit(peek()); ++i, ++at_) {
            const char digit = asciiLower(peek());
            number = number * 16 + static_cast<char32_t>(isAsciiDigit(digit) ? digit - '0' : digit - 'a' + 10);
        }
        if (isAsciiSpace(peek())) ++at_;
        appendUtf8(out, number == 0 ? 0xFFFD : number);
    }

    std::string word() {
        std::string out;
        while (at_ < css_.size()) {
            if (beginsEscape())
                escape(out);
            else if (isWordByte(peek()))
                out += css_[at_++];
            else
                break;
        }
        return out;
    }

    CssToken wordOrFunction() {
        std::string name = word();
        if (peek() != '(' || at_ >= css_.size()) return {Kind::Word, std::move(name)};
        ++at_;
        if (equalsIgnoringCase(name, "url")) return url();
        return {Kind::Function, std::move(name)};
    }

    CssToken number() {
        const std::size_t start = at_;
        if (peek() == '+' || peek() == '-') ++at_;
        while (isAsciiDigit(peek()))
            ++at_;
        if (peek() == '.' && isAsciiDigit(peek(1)))
            for (++at_; isAsciiDigit(peek());)
                ++at_;
        std::string text(css_.substr(start, at_ - start));
        if (peek() == '%')
            text += css_[at_++];
        else if (beginsWord())
            text += word();
        return {Kind::Number, std::move(text)};
    }

    CssToken string() {
        const char quote = css_[at_++];
        std::string out;
        while (at_ < css_.size()) {
            const char c = css_[at_];
            if (c == quote) {
                ++at_;
                return {Kind::String, std::move(out)};
            }
            if (c == '\n') return {Kind::Bad, std::move(out)};
            if (c == '\\' && peek(1) == '\n')
                at_ += 2;
            else if (beginsEscape())
                escape(out);
            else {
                out += c;
                ++at_;
            }
        }
        return {Kind::Bad, std::move(out)};
    }

    CssToken url() {
        while (at_ < css_.size() && isAsciiSpace(peek()))
            ++at_;
        CssToken token{Kind::Url, {}};
        if (peek() == '"' || peek() == '\'') token.text = string().text;
        while (at_ < css_.size() && peek() != ')') {
            if (beginsEscape())
                escape(token.text);
            else
                token.text += css_[at_++];
        }
        if (at_ < css_.size()) ++at_;
        return token;
    }

    std::string_view css_;
    std::size_t at_ = 0;
};

}  // namespace

std::vector<CssToken> cssTokens(std::string_view css, std::size_t limit) { return Tokenizer(css).run(limit); }

}  // namespace qs
