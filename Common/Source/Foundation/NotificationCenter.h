// Who wants to know of an event asks here, who has one posts it here: neither knows the other. Observers are called in
// the order they came, on the thread that posts, before post() returns.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Value.h"

namespace qs {

class HostObject;

struct Notification {
    std::string name;
    HostObject* object = nullptr;  // what it is about; alive during the call
    Value userInfo;
};

// Ends the observation when destroyed.
class Observation {
public:
    virtual ~Observation() = default;
};
using ObservationRef = std::unique_ptr<Observation>;

class NotificationCenter {
public:
    NotificationCenter();
    ~NotificationCenter();
    // The centre of the process that host and plug-in share.
    static NotificationCenter& defaultCenter();

    // With an object, only notifications about that object come. Safe from every thread.
    [[nodiscard]] ObservationRef addObserver(std::string name, std::function<void(const Notification&)> handler,
                                             const HostObject* object = nullptr);
    // An exception of an observer is logged, the others are called all the same.
    void post(std::string_view name, HostObject* object = nullptr, Value userInfo = {});

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace qs
