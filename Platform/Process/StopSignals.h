// SIGINT and SIGTERM as a call on the main thread, in nested runs of the run loop too. Only the first counts; a second
// one ends the process at once, as it would without us.
#pragma once

#include <functional>
#include <memory>

namespace qs {

class StopSignals {
public:
    static std::unique_ptr<StopSignals> make(std::function<void()> handler);
    virtual ~StopSignals() = default;
    // Calls the block on the main thread a tenth of a second of real time later, whatever the run loop's clock does.
    static void afterAMoment(std::function<void()> block);
};

}  // namespace qs
