// Counts the attributes of a start tag while it comes in, before the parser sees it whole. libxml2 compares each
// attribute with all others of the tag, so that a tag with a hundred thousand of them would keep it busy for minutes.
#pragma once

#include <cstddef>
#include <string_view>

namespace qs {

class ENPendingTag {
public:
    // `pending` is what the parser has not read, `position` how many bytes it has read before. Answers the number of
    // attributes, or of what could be attributes; 0 when it is no start tag that the parser waits for.
    std::size_t countAttributes(std::string_view pending, std::size_t position);

private:
    enum class Place { Name, BetweenAttributes, AttributeName, AfterAttributeName, BeforeValue, Value, QuotedValue };
    void take(char c);

    std::size_t position_ = static_cast<std::size_t>(-1), seen_ = 0, count_ = 0;
    Place place_ = Place::Name;
    char quote_ = 0;
};

}  // namespace qs
