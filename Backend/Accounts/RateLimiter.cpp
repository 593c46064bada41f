#include "Accounts/RateLimiter.h"

#include <algorithm>
#include <cmath>

namespace qs {

namespace {

constexpr std::size_t kMostBuckets = 50'000;

}  // namespace

bool RateLimiter::hasTry(const std::string& key, Date now) {
    const std::lock_guard guard(lock_);
    return filledBucket(key, now).left >= 1;
}

bool RateLimiter::take(const std::string& key, Date now) {
    const std::lock_guard guard(lock_);
    Bucket& bucket = filledBucket(key, now);
    if (bucket.left < 1) return false;
    bucket.left -= 1;
    return true;
}

int RateLimiter::secondsToWait(const std::string& key, Date now) {
    const std::lock_guard guard(lock_);
    const double missing = 1 - filledBucket(key, now).left;
    return std::max(1, static_cast<int>(std::ceil(missing * secondsPerTry_)));
}

RateLimiter::Bucket& RateLimiter::filledBucket(const std::string& key, Date now) {
    if (buckets_.size() >= kMostBuckets && !buckets_.contains(key)) dropFull(now);
    const auto [found, isNew] = buckets_.try_emplace(key, Bucket{tries_, now});
    Bucket& bucket = found->second;
    // A clock that was set back fills nothing.
    bucket.left = std::min(tries_, bucket.left + std::max(0.0, now - bucket.filled) / secondsPerTry_);
    bucket.filled = now;
    return bucket;
}

// A full bucket says no more than a missing one. If too few are full, somebody has many addresses to try from: then all
// start anew rather than the memory growing without end.
void RateLimiter::dropFull(Date now) {
    std::erase_if(buckets_, [&](const auto& each) {
        const Bucket& bucket = each.second;
        return bucket.left + (now - bucket.filled) / secondsPerTry_ >= tries_;
    });
    if (buckets_.size() >= kMostBuckets) buckets_.clear();
}

}  // namespace qs
