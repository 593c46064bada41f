// A piece of a template's source, as the tokenizer hands it out: literal text, or one tag.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qs {

enum class GRMustacheTokenType : std::int64_t {
    Text = 0,
    EscapedVariable = 1,     // {{name}}
    Comment = 2,             // {{! text }}
    UnescapedVariable = 3,   // {{{name}}} {{&name}}
    SectionOpening = 4,      // {{#name}}
    InvertedSection = 5,     // {{^name}}
    Closing = 6,             // {{/name}}
    Partial = 7,             // {{>name}}
    SetDelimiters = 8,       // {{=<% %>=}}
    Pragma = 9,              // {{%NAME}}
    InheritedPartial = 10,   // {{<name}}
    InheritableSection = 11  // {{$name}}
};

struct GRMustacheRange {
    std::size_t location = 0, length = 0;  // bytes
    std::size_t end() const { return location + length; }
};

// Refers to the source; whoever keeps a token keeps the source, too.
struct GRMustacheToken {
    GRMustacheTokenType type = GRMustacheTokenType::Text;
    std::string_view templateString;          // the whole source
    const std::string* templateID = nullptr;  // null: the source has no name
    std::size_t line = 1;                     // of a tag's beginning, or of a text's end
    GRMustacheRange range;                    // the whole tag
    GRMustacheRange tagInnerRange;            // between sigil and closing delimiter

    std::string_view templateSubstring() const { return templateString.substr(range.location, range.length); }
    std::string_view tagInnerContent() const {
        return templateString.substr(tagInnerRange.location, tagInnerRange.length);
    }
};

}  // namespace qs
