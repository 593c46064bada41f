// Who wants to know of a person's keys beside whoever is meant by them. Monitors live as long as the host. Main thread.
#pragma once

#include <functional>
#include <vector>

namespace qs {

// Kinds of events, as a mask, and the keys that are held down, as flags: the desktop's own numbers.
inline constexpr unsigned kFlagsChangedMask = 0x1000;
inline constexpr unsigned kOptionKeyFlag = 0x80000;

struct Event {
    unsigned mask = 0;           // one kind
    unsigned modifierFlags = 0;  // after it
};

class EventMonitors {
public:
    using Handler = std::function<Event(const Event&)>;  // what it answers goes on to the next

    static EventMonitors& current();  // of the running host
    void addLocalMonitorForEventsMatchingMask(unsigned mask, Handler handler);
    bool isAnyFor(unsigned mask) const;
    // For the host. A fault of a handler is logged, and the others are asked all the same.
    void dispatch(Event event);

private:
    struct Monitor {
        unsigned mask;
        Handler handler;
    };
    std::vector<Monitor> monitors_;
};

}  // namespace qs
