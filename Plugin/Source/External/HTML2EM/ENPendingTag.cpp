#include "HTML2EM/ENPendingTag.h"

#include "Text/Ascii.h"

namespace qs {

std::size_t ENPendingTag::countAttributes(std::string_view pending, std::size_t position) {
    const bool isStartTag = pending.size() > 1 && pending[0] == '<' && pending[1] != '!' && pending[1] != '?' &&
                            pending[1] != '/' && !isAsciiSpace(pending[1]);
    if (!isStartTag || position != position_ || pending.size() < seen_) *this = ENPendingTag();
    if (!isStartTag) return 0;
    position_ = position;
    for (const char c : pending.substr(seen_))
        take(c);
    seen_ = pending.size();
    return count_;
}

void ENPendingTag::take(char c) {
    const bool isBlank = isAsciiSpace(c);
    const auto startAttribute = [this] {
        ++count_;
        place_ = Place::AttributeName;
    };
    switch (place_) {
    case Place::Name:
        if (isBlank || c == '/') place_ = Place::BetweenAttributes;
        break;
    case Place::BetweenAttributes:
        if (!isBlank && c != '/') startAttribute();
        break;
    case Place::AttributeName:
        if (isBlank) place_ = Place::AfterAttributeName;
        if (c == '/') place_ = Place::BetweenAttributes;
        if (c == '=') place_ = Place::BeforeValue;
        break;
    case Place::AfterAttributeName:
        if (c == '=')
            place_ = Place::BeforeValue;
        else if (c == '/')
            place_ = Place::BetweenAttributes;
        else if (!isBlank)
            startAttribute();
        break;
    case Place::BeforeValue:
        if (isBlank) break;
        quote_ = c;
        place_ = c == '"' || c == '\'' ? Place::QuotedValue : Place::Value;
        break;
    case Place::Value:
        if (isBlank) place_ = Place::BetweenAttributes;
        break;
    case Place::QuotedValue:
        if (c == quote_) place_ = Place::BetweenAttributes;
        break;
    }
}

}  // namespace qs
