#include "GRMustacheArena.h"

#include <algorithm>

namespace qs {

void GRMustacheArena::addChunk(std::size_t atLeast) {
    left_ = std::max(nextChunk_, atLeast);
    chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(left_));
    free_ = chunks_.back().get();
    nextChunk_ = 2 * left_;
}

}  // namespace qs
