#include "Text/RegularExpression.h"

#include <unicode/regex.h>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Text/IcuText.h"

namespace qs {

struct RegularExpression::Compiled {
    std::unique_ptr<const icu::RegexPattern> pattern;
};

namespace {

constexpr int32_t kTimeLimit = 1000;  // in ICU's steps, which are about a millisecond each

// One search through one text. A failure ends it as "nothing more found".
class Search {
public:
    Search(const icu::RegexPattern& pattern, std::string_view text)
        : pattern_(pattern), text_(icuText(text)), matcher_(pattern.matcher(text_, status_)) {
        if (matcher_) matcher_->setTimeLimit(kTimeLimit, status_);
    }
    ~Search() {
        if (U_SUCCESS(status_)) return;
        logWarning(stringWithFormat("The search for the pattern %@ was ended: %@",
                                    {utf8Text(pattern_.pattern()), u_errorName(status_)}));
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    bool next() { return U_SUCCESS(status_) && matcher_->find(status_) && U_SUCCESS(status_); }
    bool coversAll() { return matcher_->start(status_) == 0 && matcher_->end(status_) == text_.length(); }
    int32_t groupCount() const { return matcher_->groupCount(); }
    std::string group(int32_t index) {
        return matcher_->start(index, status_) < 0 ? std::string() : utf8Text(matcher_->group(index, status_));
    }
    std::optional<std::string> replacedBy(std::string_view replacement) {
        // Not by ICU's replaceAll(), which takes the end of its time for the end of the text.
        const icu::UnicodeString inserted = icuText(replacement);
        icu::UnicodeString replaced;
        while (next())
            matcher_->appendReplacement(replaced, inserted, status_);
        if (U_FAILURE(status_)) return std::nullopt;
        matcher_->appendTail(replaced);
        return utf8Text(replaced);
    }

private:
    UErrorCode status_ = U_ZERO_ERROR;
    const icu::RegexPattern& pattern_;
    const icu::UnicodeString text_;
    const std::unique_ptr<icu::RegexMatcher> matcher_;
};

}  // namespace

std::optional<RegularExpression> RegularExpression::enRegexWithPattern(std::string_view pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    auto compiled = std::make_shared<Compiled>();
    compiled->pattern.reset(icu::RegexPattern::compile(icuText(pattern), 0, where, status));
    if (U_SUCCESS(status)) return RegularExpression(std::move(compiled));
    logError(stringWithFormat("regularExpressionWithPattern:%@ returned error:%@", {pattern, u_errorName(status)}));
    return std::nullopt;
}

bool RegularExpression::enFindInString(std::string_view text) const { return Search(*compiled_->pattern, text).next(); }

bool RegularExpression::enMatchesString(std::string_view text) const {
    Search search(*compiled_->pattern, text);
    return search.next() && search.coversAll();
}

std::vector<std::string> RegularExpression::enCapturedSubstringsOfString(std::string_view text) const {
    std::vector<std::string> groups;
    Search search(*compiled_->pattern, text);
    while (search.next())
        for (int32_t group = 0; group <= search.groupCount(); ++group)
            groups.push_back(search.group(group));
    return groups;
}

std::string RegularExpression::enReplaceWithString(std::string_view replacement, std::string_view inString) const {
    return Search(*compiled_->pattern, inString).replacedBy(replacement).value_or(std::string(inString));
}

}  // namespace qs
