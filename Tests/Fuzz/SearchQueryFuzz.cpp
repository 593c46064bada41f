// Reads any bytes as what was typed into the search field. Whatever it is must become a criterion of bounded size whose
// words are expressions that the index of words can read: quotes in pairs, something to look for.
#include <algorithm>
#include <cstdlib>

#include "Library/SearchQuery.h"
#include "Library/SearchText.h"
#include "Text/Utf8.h"

namespace {

using Kind = qs::MessageCriterion::Kind;

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

void check(const qs::MessageCriterion& criterion, int depth) {
    demand(depth < 6);
    for (const qs::MessageCriterion& part : criterion.parts)
        check(part, depth + 1);
    const bool isWords = criterion.kind >= Kind::HasWords && criterion.kind <= Kind::BodyHasWords;
    if (!isWords) return;
    const std::string phrase = qs::matchPhrase(criterion.text);
    demand(qs::isValidUtf8(phrase) && qs::hasWord(phrase));
    demand(std::count(phrase.begin(), phrase.end(), '"') % 2 == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view typed{reinterpret_cast<const char*>(bytes), size};
    const qs::SearchSurroundings around{.places = {{"Inbox", "a/INBOX"}, {"Lists/ä", "a/Lists.&AOQ-"}},
                                        .now = {1'795'392'000},
                                        .timeZone = "Europe/Berlin"};
    const auto query = qs::parseSearch(typed, around);
    demand(query.criterion.kind == Kind::All && query.criterion.parts.size() <= 33);
    check(query.criterion, 0);
    return 0;
}
