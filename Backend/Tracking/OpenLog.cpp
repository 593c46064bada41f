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

constexpr TimeInterval kPatience = 1;  // of whoever looks at the mail
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
    for (const TimerRef& timer : {retry_, patience_})
        if (timer) timer->invalidate();
}

void OpenLog::add(PixelFetch fetch, Block answer) {
    std::int64_t number = 0;
    {
        const std::lock_guard guard(lock_);
        if (collected_.size() < kMostCollected) {
            collected_.push_back(std::move(fetch));
            number = ++lastNumber_;
        }
    }
    if (number == 0) ground_.metrics.add(nameOf(LogOutcome::Dropped));
    if (number == 0 || isAway_) return answer();
    waiting_.push_back({number, std::move(answer)});
    if (!patience_)
        patience_ = RunLoop::main().after(kPatience, [this] {
            patience_.reset();
            answerUpTo(lastNumber_);
        });
    beginWriting();
}

void OpenLog::beginWriting() {
    if (std::exchange(isWriting_, true)) return;
    ground_.runElsewhere([this, alive = alive_] {
        const bool isWritten = write();
        RunLoop::main().post([this, alive, isWritten] {
            if (*alive) writingEnded(isWritten);
        });
    });
}

void OpenLog::writingEnded(bool isWritten) {
    isWriting_ = false;
    isAway_ = !isWritten;
    if (isAway_) answerUpTo(lastNumber_);  // those that came while this was tried, too
    bool isEmpty = true;
    {
        const std::lock_guard guard(lock_);
        isEmpty = collected_.empty();
    }
    if (isEmpty) return;
    if (isWritten) return beginWriting();
    if (retry_) retry_->invalidate();
    retry_ = RunLoop::main().after(kAfterFailure, [this] { beginWriting(); });
}

void OpenLog::answerUpTo(std::int64_t number) {
    while (!waiting_.empty() && waiting_.front().number <= number) {
        const Block give = std::move(waiting_.front().give);
        waiting_.pop_front();
        give();
    }
    if (!waiting_.empty() || !patience_) return;
    patience_->invalidate();
    patience_.reset();
}

bool OpenLog::write() {
    const std::lock_guard writing(writingLock_);
    std::vector<PixelFetch> all;
    std::int64_t last = 0;
    {
        const std::lock_guard guard(lock_);
        all.swap(collected_);
        last = lastNumber_;
    }
    std::size_t done = 0;
    while (done < all.size()) {
        const auto from = all.begin() + static_cast<std::ptrdiff_t>(done);
        const auto count = std::min(kBatch, all.size() - done);
        if (!writeBatch({from, from + static_cast<std::ptrdiff_t>(count)})) break;
        done += count;
    }
    const bool isWritten = done == all.size();
    if (!isWritten) {
        all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(done));
        const std::lock_guard guard(lock_);
        collected_.insert(collected_.begin(), all.begin(), all.end());
    }
    RunLoop::main().post([this, alive = alive_, last] {
        if (*alive) answerUpTo(last);
    });
    return isWritten;
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
