// Who wants to know of a person's keys and clicks beside whoever is meant by them. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace qs {

// Kinds of events, as a mask, and the keys that are held down, as flags: the desktop's own numbers.
inline constexpr unsigned kLeftMouseDownMask = 0x2, kRightMouseDownMask = 0x8, kFlagsChangedMask = 0x1000;
inline constexpr unsigned kOptionKeyFlag = 0x80000;

struct Event {
    unsigned mask = 0;           // one kind
    unsigned modifierFlags = 0;  // after it
};

class EventMonitors {
public:
    using Handler = std::function<Event(const Event&)>;  // what it answers goes on to the next

    static EventMonitors& current();  // of the running host
    // Of events in the host's own windows, as long as the host lives.
    void addLocalMonitorForEventsMatchingMask(unsigned mask, Handler handler);
    bool isAnyFor(unsigned mask) const;
    // Of events elsewhere, as far as the host can tell: that its page lost the focus is a click for it. As long as what
    // is returned lives.
    using GlobalMonitor = std::shared_ptr<void>;
    [[nodiscard]] GlobalMonitor addGlobalMonitorForEventsMatchingMask(unsigned mask,
                                                                      std::function<void(const Event&)> handler);
    // For the host. A fault of a handler is logged, and the others are asked all the same.
    void dispatch(Event event);
    void dispatchElsewhere(const Event& event);

private:
    struct Monitor {
        unsigned mask;
        Handler handler;
    };
    struct Watch {
        unsigned mask;
        std::function<void(const Event&)> handler;
    };
    std::vector<Monitor> monitors_;
    std::vector<std::weak_ptr<Watch>> watches_;
};

}  // namespace qs
