// How often somebody may do something: for each key (an address, an account) a bucket that holds so many tries and
// fills up again with time. Bounded in memory; from every thread.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "Foundation/Date.h"

namespace qs {

class RateLimiter {
public:
    RateLimiter(int tries, TimeInterval secondsPerTry) : tries_(tries), secondsPerTry_(secondsPerTry) {}

    bool hasTry(const std::string& key, Date now);
    // Uses one up; false when there is none.
    bool take(const std::string& key, Date now);
    // Until there is a try again, at least 1.
    int secondsToWait(const std::string& key, Date now);

private:
    struct Bucket {
        double left = 0;
        Date filled;
    };
    Bucket& filledBucket(const std::string& key, Date now);
    void dropFull(Date now);

    const double tries_;
    const TimeInterval secondsPerTry_;
    std::mutex lock_;
    std::map<std::string, Bucket> buckets_;
};

// The limits of the backend.
struct RateLimits {
    RateLimiter signUpsByPeer{20, 360}, signUpsByAddress{4, 3600};
    RateLimiter resetsByPeer{20, 360}, resetsByAddress{4, 3600};
    // Only failures count.
    RateLimiter failuresByPeer{30, 30}, failuresByAccount{20, 60};
    RateLimiter callsByAccount{240, 0.25};
    RateLimiter tokensByPeer{60, 30};  // tries with the tokens of letters
};

}  // namespace qs
