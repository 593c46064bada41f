// A centre that reaches this process alone: for a program that keeps off the desktop session.
#include <algorithm>
#include <list>
#include <mutex>

#include "Adapters.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/RunLoop.h"

namespace qs {

namespace {

struct LocalObserver {
    std::string name;
    std::function<void(std::string_view, const Value&)> handler;
};

class LocalObservation : public Observation {
public:
    explicit LocalObservation(std::shared_ptr<LocalObserver> observer) : observer_(std::move(observer)) {}

private:
    std::shared_ptr<LocalObserver> observer_;
};

class LocalNotificationCenter : public DistributedNotificationCenter {
public:
    void postNotificationName(std::string_view name, std::string_view, const Value& userInfo) override {
        const std::lock_guard guard(lock_);
        for (const auto& each : observers_) {
            const auto observer = each.lock();
            if (!observer || (!observer->name.empty() && observer->name != name)) continue;
            RunLoop::main().post([each, name = std::string(name), userInfo] {
                if (const auto still = each.lock()) still->handler(name, userInfo);
            });
        }
    }
    ObservationRef addObserver(std::string name, std::function<void(std::string_view, const Value&)> handler) override {
        auto observer = std::make_shared<LocalObserver>(LocalObserver{std::move(name), std::move(handler)});
        const std::lock_guard guard(lock_);
        std::erase_if(observers_, [](const auto& each) { return each.expired(); });
        observers_.push_back(observer);
        return std::make_unique<LocalObservation>(std::move(observer));
    }
    bool isConnected() const override { return false; }

private:
    std::mutex lock_;
    std::list<std::weak_ptr<LocalObserver>> observers_;
};

}  // namespace

std::shared_ptr<DistributedNotificationCenter> makeLocalNotificationCenter() {
    return std::make_shared<LocalNotificationCenter>();
}

}  // namespace qs
