#include "Text/StandardCompare.h"

#include <unicode/coll.h>

#include <memory>

namespace qs {

namespace {

std::unique_ptr<icu::Collator> makeCollator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(status));
    if (U_FAILURE(status) || !made) return nullptr;
    made->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    return made;
}

}  // namespace

int localizedStandardCompare(std::string_view a, std::string_view b) {
    thread_local const std::unique_ptr<icu::Collator> collator = makeCollator();
    UErrorCode status = U_ZERO_ERROR;
    const auto piece = [](std::string_view text) {
        return icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size()));
    };
    const int order = collator ? collator->compareUTF8(piece(a), piece(b), status) : a.compare(b);
    return U_FAILURE(status) ? a.compare(b) : order;
}

}  // namespace qs
