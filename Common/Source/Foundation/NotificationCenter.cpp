#include "Foundation/NotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "Foundation/Assertion.h"

namespace qs {
namespace {

struct Observer {
    std::function<void(const Notification&)> handler;
    const HostObject* object;
    std::atomic<bool> ended = false;
};
using ObserverRef = std::shared_ptr<Observer>;

}  // namespace

struct NotificationCenter::State {
    std::mutex lock;
    std::map<std::string, std::vector<ObserverRef>, std::less<>> observers;

    std::vector<ObserverRef> observersOf(std::string_view name, const HostObject* object) {
        std::lock_guard guard(lock);
        std::vector<ObserverRef> wanted;
        if (auto found = observers.find(name); found != observers.end())
            std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(wanted),
                         [&](const ObserverRef& o) { return !o->object || o->object == object; });
        return wanted;
    }

    void remove(std::string_view name, const ObserverRef& observer) {
        std::lock_guard guard(lock);
        auto found = observers.find(name);
        if (found == observers.end()) return;
        std::erase(found->second, observer);
        if (found->second.empty()) observers.erase(found);
    }
};

namespace {

class ObservationOfCenter : public Observation {
public:
    explicit ObservationOfCenter(std::function<void()> end) : end_(std::move(end)) {}
    ~ObservationOfCenter() override { end_(); }

private:
    std::function<void()> end_;
};

void notify(Observer& observer, const Notification& notification) {
    // An observer may have been taken away by one that was called before it.
    if (observer.ended) return;
    try {
        observer.handler(notification);
    } catch (...) {
        logCaughtException("An observer of " + notification.name + " failed");
    }
}

}  // namespace

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: observers that live to the end of the program take themselves out of it.
    static NotificationCenter* const center = new NotificationCenter;
    return *center;
}

ObservationRef NotificationCenter::addObserver(std::string name, std::function<void(const Notification&)> handler,
                                               const HostObject* object) {
    assertThat(handler != nullptr, "An observer needs a handler");
    auto observer = std::make_shared<Observer>(std::move(handler), object);
    {
        std::lock_guard guard(state_->lock);
        state_->observers[name].push_back(observer);
    }
    return std::make_unique<ObservationOfCenter>(
        [observer, name = std::move(name), center = std::weak_ptr<State>(state_)] {
            observer->ended = true;
            if (auto state = center.lock()) state->remove(name, observer);
        });
}

void NotificationCenter::post(std::string_view name, HostObject* object, Value userInfo) {
    const Notification notification{std::string(name), object, std::move(userInfo)};
    for (const ObserverRef& observer : state_->observersOf(name, object))
        notify(*observer, notification);
}

}  // namespace qs
