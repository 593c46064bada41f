#include "Application/EventMonitors.h"

#include <algorithm>

#include "Application/HostInstances.h"
#include "Foundation/Assertion.h"
#include "Models/ModelChanges.h"

namespace qs {

EventMonitors& EventMonitors::current() {
    auto& monitors = HostInstances::current().eventMonitors;
    if (!monitors) monitors = std::make_shared<EventMonitors>();
    return *monitors;
}

void EventMonitors::addLocalMonitorForEventsMatchingMask(unsigned mask, Handler handler) {
    monitors_.push_back({mask, std::move(handler)});
    noteModelChange();
}

bool EventMonitors::isAnyFor(unsigned mask) const {
    return std::ranges::any_of(monitors_, [&](const Monitor& each) { return (each.mask & mask) != 0; });
}

EventMonitors::GlobalMonitor
EventMonitors::addGlobalMonitorForEventsMatchingMask(unsigned mask, std::function<void(const Event&)> handler) {
    std::erase_if(watches_, [](const auto& watch) { return watch.expired(); });
    auto made = std::make_shared<Watch>(Watch{mask, std::move(handler)});
    watches_.push_back(made);
    return made;
}

void EventMonitors::dispatchElsewhere(const Event& event) {
    for (const auto& each : std::vector(watches_)) {
        const auto watch = each.lock();
        if (!watch || (watch->mask & event.mask) == 0) continue;
        try {
            watch->handler(event);
        } catch (const std::exception&) {
            logCaughtException("A monitor of clicks failed");
        }
    }
}

void EventMonitors::dispatch(Event event) {
    for (const Monitor& each : std::vector(monitors_)) {
        if ((each.mask & event.mask) == 0) continue;
        try {
            event = each.handler(event);
        } catch (const std::exception&) {
            logCaughtException("A monitor of keys failed");
        }
    }
}

}  // namespace qs
