#include "Tracking/OpenLog.h"

#include "Foundation/Log.h"
#include "Metrics.h"
#include "Store/SqlPool.h"
#include "Store/TrackingTables.h"
#include "Tracking/PlaceFinder.h"
#include "Tracking/UserAgent.h"
#include "Web/PeerAddress.h"

namespace qs {

namespace {

constexpr TimeInterval kCollecting = 0.25;
constexpr TimeInterval kAfterFailure = 5;
constexpr std::size_t kMostCollected = 100'000;
constexpr std::size_t kBatch = 5000;  // fetches a transaction

const char* nameOf(LogOutcome outcome) {
    switch (outcome) {
    case LogOutcome::Logged: return R"(opens_total{outcome="logged"})";
    case LogOutcome::Early: return R"(opens_total{outcome="early"})";
    case LogOutcome::Dropped: break;
    }
    return R"(opens_total{outcome="dropped"})";
}

}  // namespace

OpenLog::OpenLog(Ground ground) : ground_(std::move(ground)) {}

OpenLog::~OpenLog() {
    *alive_ = false;
    if (timer_) timer_->invalidate();
}

void OpenLog::add(PixelFetch fetch) {
    {
        const std::lock_guard guard(lock_);
        if (collected_.size() >= kMostCollected) return ground_.metrics.add(nameOf(LogOutcome::Dropped));
        collected_.push_back(std::move(fetch));
    }
    if (!timer_) writeSoon(kCollecting);
}

void OpenLog::writeSoon(TimeInterval seconds) {
    timer_ = RunLoop::main().after(seconds, [this, alive = alive_] {
        ground_.runElsewhere([this, alive] {
            const bool isWritten = write();
            RunLoop::main().post([this, alive, isWritten] {
                if (!*alive) return;
                timer_.reset();
                const std::lock_guard guard(lock_);
                if (!collected_.empty()) writeSoon(isWritten ? kCollecting : kAfterFailure);
            });
        });
    });
}

bool OpenLog::write() {
    const std::lock_guard writing(writingLock_);
    std::vector<PixelFetch> all;
    {
        const std::lock_guard guard(lock_);
        all.swap(collected_);
    }
    std::size_t done = 0;
    while (done < all.size()) {
        const auto from = all.begin() + static_cast<std::ptrdiff_t>(done);
        const auto count = std::min(kBatch, all.size() - done);
        if (!writeBatch({from, from + static_cast<std::ptrdiff_t>(count)})) break;
        done += count;
    }
    if (done == all.size()) return true;
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(done));
    const std::lock_guard guard(lock_);
    collected_.insert(collected_.begin(), all.begin(), all.end());
    return false;
}

bool OpenLog::writeBatch(const std::vector<PixelFetch>& batch) {
    try {
        std::vector<LogOutcome> outcomes;
        ground_.database.transaction([&](SqlConnection& database) {
            for (const PixelFetch& fetch : batch) {
                const Place place = ground_.places ? ground_.places->find(fetch.address) : Place();
                const std::string address = ground_.addressDetail == AddressDetail::Full ? fetch.address
                                            : ground_.addressDetail == AddressDetail::Shortened
                                                ? shortenedAddress(fetch.address)
                                                : std::string();
                outcomes.push_back(logOpen(database, fetch.uuid,
                                           {.date = fetch.date,
                                            .ip = address,
                                            .country = place.country,
                                            .city = place.city,
                                            .timezone = place.timezone,
                                            .userAgent = parseUserAgent(fetch.userAgent).text()}));
            }
        });
        for (const LogOutcome outcome : outcomes)
            ground_.metrics.add(nameOf(outcome));
        return true;
    } catch (const SqlFailure& failure) {
        logError(std::string("Opens can't be written now and wait: ") + failure.what());
        ground_.metrics.add("database_failures_total");
        return false;
    }
}

}  // namespace qs
