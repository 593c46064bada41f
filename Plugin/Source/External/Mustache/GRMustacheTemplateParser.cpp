#include "GRMustacheTemplateParser.h"

#include <cstring>

#include "GRMustacheConfiguration.h"
#include "GRMustacheError.h"
#include "GRMustacheToken.h"
#include "GRMustacheWhitespace.h"

namespace qs {

namespace {

constexpr std::size_t kShort = 8;

// In time that grows with the text alone, also for a pattern as long as a template can make its delimiters.
std::size_t find(std::string_view text, std::string_view pattern, std::size_t from) {
    if (pattern.size() <= kShort) return text.find(pattern, from);
    const void* found = ::memmem(text.data() + from, text.size() - from, pattern.data(), pattern.size());
    return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : std::string_view::npos;
}

std::size_t lineFeeds(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1))
        ++count;
    return count;
}

std::optional<GRMustacheTokenType> typeOfSigil(char sigil) {
    switch (sigil) {
    case '!': return GRMustacheTokenType::Comment;
    case '{':
    case '&': return GRMustacheTokenType::UnescapedVariable;
    case '#': return GRMustacheTokenType::SectionOpening;
    case '^': return GRMustacheTokenType::InvertedSection;
    case '/': return GRMustacheTokenType::Closing;
    case '>': return GRMustacheTokenType::Partial;
    case '%': return GRMustacheTokenType::Pragma;
    case '<': return GRMustacheTokenType::InheritedPartial;
    case '$': return GRMustacheTokenType::InheritableSection;
    default: return {};
    }
}

Result<std::string_view> parseName(std::string_view content, std::string_view what, bool& empty) {
    const std::string_view name = mustacheTrimmed(content);
    empty = name.empty();
    if (empty) return failure(mustacheError(GRMustacheErrorCodeParseError, "Missing " + std::string(what)));
    if (mustacheFindWhitespace(name) != std::string_view::npos)
        return failure(mustacheError(GRMustacheErrorCodeParseError, "Invalid " + std::string(what)));
    return name;
}

}  // namespace

// Where the parse stands.
struct GRMustacheTemplateParser::Reading {
    std::string_view text;
    const std::string* templateID;
    std::size_t at = 0, line = 1;
};

enum class GRMustacheTemplateParser::TagKind { Plain, Unescaped, SetDelimiters };

GRMustacheTemplateParser::GRMustacheTemplateParser(const GRMustacheConfiguration& configuration)
    : start_(configuration.tagStartDelimiter()), end_(configuration.tagEndDelimiter()) {}

void GRMustacheTemplateParser::parseTemplateString(std::optional<std::string_view> templateString,
                                                   const std::string* templateID) {
    if (!templateString) return fail(mustacheNilTemplateString());
    Reading reading{*templateString, templateID};
    while (reading.at < reading.text.size()) {
        // Every kind of tag opens with the start delimiter.
        const std::size_t tag = find(reading.text, start_, reading.at);
        if (!emitText(reading, std::min(tag, reading.text.size())) || tag == std::string_view::npos) return;
        if (!readTag(reading)) return;
    }
}

bool GRMustacheTemplateParser::emitText(Reading& reading, std::size_t end) {
    if (end == reading.at) return true;
    const std::string_view text = reading.text.substr(reading.at, end - reading.at);
    reading.line += lineFeeds(text);
    const GRMustacheToken token{GRMustacheTokenType::Text, reading.text,
                                reading.templateID,        reading.line,
                                {reading.at, text.size()}, {reading.at, text.size()}};
    reading.at = end;
    return emit(token);
}

bool GRMustacheTemplateParser::readTag(Reading& reading) {
    const std::string_view text = reading.text;
    const std::size_t begin = reading.at, behind = begin + start_.size();
    const char next = behind < text.size() ? text[behind] : '\0';
    TagKind kind = next == '=' ? TagKind::SetDelimiters : TagKind::Plain;
    if (next == '{' && start_ == "{{" && end_ == "}}") kind = TagKind::Unescaped;

    std::string longEnd;
    if (kind != TagKind::Plain) longEnd = (kind == TagKind::Unescaped ? "}" : "=") + end_;
    const std::string_view closing = kind == TagKind::Plain ? end_ : longEnd;
    const std::size_t inner = kind == TagKind::Plain ? behind : behind + 1;
    const std::size_t innerEnd = inner <= text.size() ? find(text, closing, inner) : std::string_view::npos;

    GRMustacheToken token{GRMustacheTokenType::EscapedVariable, text, reading.templateID, reading.line, {begin, 0}, {}};
    if (innerEnd == std::string_view::npos) {
        fail(mustacheParseError(token, "Unclosed Mustache tag"));
        return false;
    }
    token.range.length = innerEnd + closing.size() - begin;
    token.tagInnerRange = {inner, innerEnd - inner};
    reading.at = token.range.end();
    reading.line += lineFeeds(token.templateSubstring());

    if (kind == TagKind::Unescaped) {
        token.type = GRMustacheTokenType::UnescapedVariable;
    } else if (kind == TagKind::SetDelimiters) {
        token.type = GRMustacheTokenType::SetDelimiters;
        if (!setDelimiters(token)) return false;
    } else if (const auto type = typeOfSigil(next); type && innerEnd > inner) {
        token.type = *type;
        token.tagInnerRange = {inner + 1, innerEnd - inner - 1};
    }
    return emit(token);
}

bool GRMustacheTemplateParser::setDelimiters(const GRMustacheToken& tag) {
    const std::string_view pair = mustacheTrimmed(tag.tagInnerContent());
    const std::size_t gap = mustacheFindWhitespace(pair);
    const std::string_view first = pair.substr(0, gap);
    const std::string_view second = mustacheTrimmed(pair.substr(first.size()));
    if (second.empty() || mustacheFindWhitespace(second) != std::string_view::npos) {
        fail(mustacheParseError(tag, "Invalid set delimiters tag"));
        return false;
    }
    start_ = first;
    end_ = second;
    return true;
}

Result<std::string_view> GRMustacheTemplateParser::parseTemplateName(std::string_view content, bool& empty) {
    return parseName(content, "template name", empty);
}

Result<std::string_view> GRMustacheTemplateParser::parseInheritableSectionName(std::string_view content, bool& empty) {
    return parseName(content, "inheritable section name", empty);
}

std::optional<std::string_view> GRMustacheTemplateParser::parsePragma(std::string_view content) {
    const std::string_view pragma = mustacheTrimmed(content);
    return pragma.empty() ? std::nullopt : std::optional(pragma);
}

}  // namespace qs
