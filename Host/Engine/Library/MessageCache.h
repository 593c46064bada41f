// The message objects that somebody holds, by number: as long as one lives, everybody gets the same, so that what a
// plug-in hung on it is found again. Holds nothing itself. Safe from every thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace qs {

class LibraryMessage;
using LibraryMessageRef = std::shared_ptr<LibraryMessage>;

class MessageCache {
public:
    using Ref = LibraryMessageRef;

    Ref live(std::int64_t id) const;  // null for none
    // The living one, else what `make` gives. `make` must not use the cache.
    Ref liveOr(std::int64_t id, const std::function<Ref()>& make);
    // For a message's destructor.
    void forget(std::int64_t id);

private:
    mutable std::mutex lock_;
    std::unordered_map<std::int64_t, std::weak_ptr<LibraryMessage>> messages_;
};

}  // namespace qs
