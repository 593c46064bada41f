// Style text as tokens, escapes resolved ("\75rl(" is "url("), comments gone. Linear in time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct CssToken {
    enum class Kind {
        Word,      // an identifier
        Function,  // its name; the bracket is part of it
        AtWord,    // without the "@"
        Hash,      // without the "#"
        Number,    // with its unit or per cent sign
        String,    // without quotes
        Url,       // the address
        Space,
        Mark,  // one character; also ":" ";" "," and brackets
        Bad,   // a broken string or address
    };
    Kind kind = Kind::Mark;
    std::string text;

    bool isMark(char c) const { return kind == Kind::Mark && text.size() == 1 && text[0] == c; }
};

// At most `limit` tokens; what is behind them is dropped.
std::vector<CssToken> cssTokens(std::string_view css, std::size_t limit);

}  // namespace qs
