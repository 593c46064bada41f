#include "GRMustacheTranslateCharacters.h"

#include <cstdint>
#include <cstring>

namespace qs {

namespace {

constexpr GRMustacheTranslationTable kHTML = [] {
    GRMustacheTranslationTable table;
    table['&'] = "&amp;";
    table['<'] = "&lt;";
    table['>'] = "&gt;";
    table['"'] = "&quot;";
    table['\''] = "&apos;";
    return table;
}();

std::string_view translation(const GRMustacheTranslationTable& table, char c) {
    return table[static_cast<unsigned char>(c)];
}

// Sixteen characters at a time; the compiler makes one machine word of them where there are such.
using Block = unsigned char __attribute__((vector_size(16)));
using Halves = std::uint64_t __attribute__((vector_size(16)));

bool hasSpecial(Block block) {
    const auto found = (block == '&') | (block == '<') | (block == '>') | (block == '"') | (block == '\'');
    const auto halves = reinterpret_cast<Halves>(found);
    return (halves[0] | halves[1]) != 0;
}

Block load(const char* from) {
    Block block;
    std::memcpy(&block, from, sizeof block);
    return block;
}

// Two words that together cover a text of one to two words' length; they may overlap.
template <class Word>
bool hasSpecialInTwo(std::string_view text) {
    Word ends[16 / sizeof(Word)] = {};
    std::memcpy(&ends[0], text.data(), sizeof(Word));
    std::memcpy(&ends[1], text.data() + text.size() - sizeof(Word), sizeof(Word));
    return hasSpecial(load(reinterpret_cast<const char*>(ends)));
}

// Where a special character may be first: none before it, npos for none at all.
std::size_t findSpecialBlock(std::string_view text, std::size_t from) {
    const std::size_t left = text.size() - from;
    constexpr std::size_t width = sizeof(Block);
    if (left >= width) {
        for (; from + width <= text.size(); from += width)
            if (hasSpecial(load(text.data() + from))) return from;
        if (from == text.size()) return std::string_view::npos;
        return hasSpecial(load(text.data() + text.size() - width)) ? from : std::string_view::npos;
    }
    const std::string_view rest = text.substr(from);
    if (left >= 8) return hasSpecialInTwo<std::uint64_t>(rest) ? from : std::string_view::npos;
    if (left >= 4) return hasSpecialInTwo<std::uint32_t>(rest) ? from : std::string_view::npos;
    return left == 0 ? std::string_view::npos : from;
}

std::size_t findSpecial(std::string_view text, std::size_t from) {
    from = findSpecialBlock(text, from);
    while (from < text.size() && translation(kHTML, text[from]).empty())
        ++from;
    return from < text.size() ? from : std::string_view::npos;
}

}  // namespace

std::string GRMustacheTranslateCharacters(std::string_view text, const GRMustacheTranslationTable& table,
                                          std::size_t capacityHint) {
    std::size_t done = 0;
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view replacement = translation(table, text[at]);
        if (replacement.empty()) continue;
        if (out.empty()) out.reserve(capacityHint);
        out.append(text, done, at - done).append(replacement);
        done = at + 1;
    }
    return out.append(text, done);
}

void GRMustacheAppendTranslatedHTML(std::string& out, std::string_view text) {
    std::size_t at = findSpecial(text, 0), done = 0;
    if (at == std::string_view::npos) {  // nearly always
        out.append(text.data(), text.size());
        return;
    }
    for (; at != std::string_view::npos; at = findSpecial(text, done)) {
        out.append(text, done, at - done).append(translation(kHTML, text[at]));
        done = at + 1;
    }
    out.append(text, done);
}

std::string GRMustacheTranslateHTMLCharacters(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 5);
    GRMustacheAppendTranslatedHTML(out, text);
    return out;
}

void GRMustacheTranslateHTMLFrom(std::string& out, std::size_t start) {
    if (findSpecial(out, start) == std::string_view::npos) return;
    const std::string raw = out.substr(start);
    out.resize(start);
    GRMustacheAppendTranslatedHTML(out, raw);
}

}  // namespace qs
