// Lets through the style rules of a mail that only lay out and colour: known properties with plain values. Whatever
// loads, runs, overlays or is not understood is left out, and what is kept is written anew from its tokens.
// (Tokens: https://www.w3.org/TR/css-syntax-3/)
#pragma once

#include <string>
#include <string_view>

namespace qs {

struct FilteredCss {
    std::string css;
    int remoteBlocked = 0;  // addresses and imports that would have loaded something
};

// The content of a style attribute.
FilteredCss filteredDeclarations(std::string_view css);
// The content of a style element. Selectors and @media are kept.
FilteredCss filteredStyleSheet(std::string_view css);

}  // namespace qs
