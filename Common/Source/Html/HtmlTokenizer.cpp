#include "Html/HtmlTokenizer.h"

#include <libxml/HTMLparser.h>

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

bool isNameEnd(char c) { return isAsciiSpace(c) || c == '/' || c == '>'; }
bool isAlphanumeric(char c) { return isAsciiLetter(c) || isAsciiDigit(c); }

// Numbers 128 to 159 mean what Windows' code page 1252 has there.
char32_t windowsCharacter(char32_t number) {
    static constexpr char32_t kTable[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                            0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                            0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                            0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    return number >= 0x80 && number < 0xA0 ? kTable[number - 0x80] : number;
}

// "&#x20ac;" from behind the "#". Answers how many bytes it took; 0 if it is no reference.
std::size_t numericReference(std::string_view text, std::string& out) {
    std::size_t at = 0;
    const bool hex = !text.empty() && asciiLower(text[0]) == 'x';
    if (hex) ++at;
    const std::size_t digits = at;
    char32_t number = 0;
    for (; at < text.size(); ++at) {
        const char c = asciiLower(text[at]);
        const bool isHexLetter = hex && c >= 'a' && c <= 'f';
        if (!isAsciiDigit(c) && !isHexLetter) break;
        const auto digit = static_cast<char32_t>(isHexLetter ? c - 'a' + 10 : c - '0');
        number = std::min<char32_t>(number * (hex ? 16 : 10) + digit, 0x110000);
    }
    if (at == digits) return 0;
    if (at < text.size() && text[at] == ';') ++at;
    appendUtf8(out, number == 0 ? 0xFFFD : windowsCharacter(number));
    return at;
}

// "&eacute;" from behind the "&". A few old names may lack the semicolon.
std::size_t namedReference(std::string_view text, bool inAttribute, std::string& out) {
    constexpr std::size_t kLongestName = 8;
    std::size_t length = 0;
    while (length < text.size() && length <= kLongestName && isAlphanumeric(text[length]))
        ++length;
    const bool hasSemicolon = length < text.size() && text[length] == ';';
    std::string name(text.substr(0, length));
    if (!hasSemicolon) {
        static constexpr std::string_view kOld[] = {"amp", "copy", "gt", "lt", "nbsp", "quot", "reg"};
        const auto old = std::find_if(std::begin(kOld), std::end(kOld),
                                      [&](std::string_view known) { return name.starts_with(known); });
        if (old == std::end(kOld)) return 0;
        const char behind = old->size() < text.size() ? text[old->size()] : ' ';
        if (inAttribute && (behind == '=' || isAlphanumeric(behind))) return 0;
        name = *old;
        length = old->size();
    }
    const auto* entity = htmlEntityLookup(reinterpret_cast<const xmlChar*>(name.c_str()));
    if (!entity) return 0;
    appendUtf8(out, entity->value);
    return length + (hasSemicolon ? 1 : 0);
}

// Where a comment's text ends, and how long the mark of its end is.
std::pair<std::size_t, std::size_t> commentEnd(std::string_view text) {
    if (text.starts_with(">")) return {0, 1};
    if (text.starts_with("->")) return {0, 2};
    for (std::size_t at = text.find("--"); at != std::string_view::npos; at = text.find("--", at + 1)) {
        const std::string_view behind = text.substr(at + 2);
        if (behind.starts_with('>')) return {at, 3};
        if (behind.starts_with("!>")) return {at, 4};
    }
    return {text.size(), 0};
}

}  // namespace

std::string decodedEntities(std::string_view text, bool inAttribute) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t ampersand = std::min(text.find('&', at), text.size());
        out.append(text.substr(at, ampersand - at));
        if (ampersand == text.size()) break;
        const std::string_view rest = text.substr(ampersand + 1);
        const std::size_t used =
            rest.starts_with('#') ? numericReference(rest.substr(1), out) : namedReference(rest, inAttribute, out);
        if (used == 0) out += '&';
        at = ampersand + 1 + (used == 0 ? 0 : used + (rest.starts_with('#') ? 1 : 0));
    }
    return out;
}

bool HtmlTokenizer::next(HtmlToken& token) {
    token = {};
    while (at_ < html_.size()) {
        if (!beginsMarkup(at_)) {
            text(token);
            return true;
        }
        const char c = html_[at_ + 1];
        if (c == '/') {
            if (endTag(token)) return true;
        } else if (c == '!' || c == '?') {
            declaration(token);
            return true;
        } else if (startTag(token)) {
            return true;
        }
    }
    return false;
}

bool HtmlTokenizer::beginsMarkup(std::size_t at) const {
    if (html_[at] != '<' || at + 1 >= html_.size()) return false;
    const char c = html_[at + 1];
    return isAsciiLetter(c) || c == '!' || c == '?' || (c == '/' && at + 2 < html_.size());
}

void HtmlTokenizer::text(HtmlToken& token) {
    const std::size_t start = at_;
    do
        at_ = std::min(html_.find('<', at_ + 1), html_.size());
    while (at_ < html_.size() && !beginsMarkup(at_));
    token.kind = HtmlToken::Kind::Text;
    token.text = decodedEntities(html_.substr(start, at_ - start), false);
}

void HtmlTokenizer::skipSpaces() {
    while (at_ < html_.size() && isAsciiSpace(html_[at_]))
        ++at_;
}

std::string HtmlTokenizer::tagName() {
    const std::size_t start = at_;
    while (at_ < html_.size() && !isNameEnd(html_[at_]))
        ++at_;
    return asciiLowered(html_.substr(start, at_ - start));
}

// False when the text ends inside the tag, which is then dropped.
bool HtmlTokenizer::startTag(HtmlToken& token) {
    token.kind = HtmlToken::Kind::Start;
    ++at_;
    token.name = tagName();
    for (;;) {
        while (at_ < html_.size() && (isAsciiSpace(html_[at_]) || html_[at_] == '/')) {
            token.selfClosing = html_[at_] == '/' && at_ + 1 < html_.size() && html_[at_ + 1] == '>';
            ++at_;
        }
        if (at_ >= html_.size()) return false;
        if (html_[at_] == '>') break;
        attribute(token);
    }
    ++at_;
    content(token);
    return true;
}

void HtmlTokenizer::attribute(HtmlToken& token) {
    const std::size_t start = at_;
    ++at_;  // a "=" in the first place belongs to the name
    while (at_ < html_.size() && !isNameEnd(html_[at_]) && html_[at_] != '=')
        ++at_;
    const std::string name = asciiLowered(html_.substr(start, at_ - start));
    skipSpaces();
    std::string value;
    if (at_ < html_.size() && html_[at_] == '=') {
        ++at_;
        skipSpaces();
        value = attributeValue();
    }
    const bool isNew = std::none_of(token.attributes.begin(), token.attributes.end(),
                                    [&](const auto& known) { return known.first == name; });
    if (isNew && token.attributes.size() < kMostAttributes) token.attributes.emplace_back(name, std::move(value));
}

std::string HtmlTokenizer::attributeValue() {
    if (at_ >= html_.size()) return {};
    const char quote = html_[at_];
    std::size_t start = at_, end = at_;
    if (quote == '"' || quote == '\'') {
        ++start;
        end = std::min(html_.find(quote, start), html_.size());
        at_ = std::min(end + 1, html_.size());
    } else {
        while (end < html_.size() && !isAsciiSpace(html_[end]) && html_[end] != '>')
            ++end;
        at_ = end;
    }
    return decodedEntities(html_.substr(start, end - start), true);
}

// The content of an element that holds no markup, up to its own end tag or the end of all.
void HtmlTokenizer::content(HtmlToken& token) {
    const unsigned traits = htmlTraits(token.name);
    if (!(traits & (kRawText | kEscapableRawText))) return;
    std::size_t end = html_.size();
    if (token.name != "plaintext")
        for (std::size_t found = html_.find("</", at_); found != std::string_view::npos;
             found = html_.find("</", found + 2)) {
            const std::string_view rest = html_.substr(found + 2);
            const bool isOwn = startsWithIgnoringCase(rest, token.name) && rest.size() > token.name.size() &&
                               isNameEnd(rest[token.name.size()]);
            if (!isOwn) continue;
            end = found;
            break;
        }
    const std::string_view inside = html_.substr(at_, end - at_);
    token.text = traits & kRawText ? std::string(inside) : decodedEntities(inside, false);
    at_ = end;
    HtmlToken endOfElement;
    if (at_ < html_.size()) endTag(endOfElement);
}

// False when there is nothing to report: "</>", or the text ends inside.
bool HtmlTokenizer::endTag(HtmlToken& token) {
    at_ += 2;
    if (html_[at_] == '>') {
        ++at_;
        return false;
    }
    if (!isAsciiLetter(html_[at_])) {
        comment(token);
        return true;
    }
    token.kind = HtmlToken::Kind::End;
    token.name = tagName();
    HtmlToken unused;  // attributes of an end tag mean nothing
    for (;;) {
        while (at_ < html_.size() && (isAsciiSpace(html_[at_]) || html_[at_] == '/'))
            ++at_;
        if (at_ >= html_.size()) return false;
        if (html_[at_] == '>') break;
        attribute(unused);
    }
    ++at_;
    return true;
}

void HtmlTokenizer::declaration(HtmlToken& token) {
    if (html_.substr(at_).starts_with("<!--")) {
        at_ += 4;
        const std::string_view rest = html_.substr(at_);
        const auto [length, closing] = commentEnd(rest);
        token.kind = HtmlToken::Kind::Comment;
        token.text = rest.substr(0, length);
        at_ += length + closing;
        return;
    }
    const bool isDoctype = startsWithIgnoringCase(html_.substr(at_ + 2), "doctype");
    at_ += html_[at_ + 1] == '?' ? 1 : 2;
    comment(token);
    if (isDoctype) token.kind = HtmlToken::Kind::Doctype;
}

// Everything up to the next ">".
void HtmlTokenizer::comment(HtmlToken& token) {
    const std::size_t end = std::min(html_.find('>', at_), html_.size());
    token.kind = HtmlToken::Kind::Comment;
    token.text = html_.substr(at_, end - at_);
    at_ = std::min(end + 1, html_.size());
}

}  // namespace qs
