#include "Models/ModelChanges.h"

#include <memory>

#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"

namespace qs {
namespace {

std::function<void()>& handler() {
    static std::function<void()> handler;
    return handler;
}

// Held by the block that waits in the run loop: a loop that goes takes it along, and the next change starts afresh.
std::weak_ptr<int>& scheduled() {
    static std::weak_ptr<int> scheduled;
    return scheduled;
}

}  // namespace

void noteModelChange() {
    RunLoop* loop = RunLoop::mainIfInstalled();
    if (!loop) return;
    assertThat(loop->isMainThread(), "Models belong to the main thread");
    if (!handler() || !scheduled().expired()) return;
    auto token = std::make_shared<int>();
    scheduled() = token;
    loop->post([token] {
        scheduled().reset();
        // A copy, as the handler may put another in its own place.
        if (const auto current = handler()) current();
    });
}

void setModelChangeHandler(std::function<void()> newHandler) { handler() = std::move(newHandler); }

}  // namespace qs
