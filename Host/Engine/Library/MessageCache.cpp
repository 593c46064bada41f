#include "Library/MessageCache.h"

#include "Library/LibraryObjects.h"

namespace qs {

MessageCache::Ref MessageCache::live(std::int64_t id) const {
    const std::lock_guard hold(lock_);
    const auto found = messages_.find(id);
    return found == messages_.end() ? nullptr : found->second.lock();
}

MessageCache::Ref MessageCache::liveOr(std::int64_t id, const std::function<Ref()>& make) {
    const std::lock_guard hold(lock_);
    auto& entry = messages_[id];
    Ref message = entry.lock();
    if (!message) {
        message = make();
        entry = message;
    }
    return message;
}

void MessageCache::forget(std::int64_t id) {
    const std::lock_guard hold(lock_);
    const auto found = messages_.find(id);
    // Another thread may have made the next one already.
    if (found != messages_.end() && found->second.expired()) messages_.erase(found);
}

}  // namespace qs
