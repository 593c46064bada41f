#include "Process/StopSignals.h"

#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>

#include "Foundation/RunLoop.h"
#include "Foundation/RunLoopAsio.h"

namespace qs {
namespace {

using boost::system::error_code;

class AsioStopSignals : public StopSignals {
public:
    explicit AsioStopSignals(std::function<void()> handler) : signals_(ioContextOf(RunLoop::main()), SIGINT, SIGTERM) {
        signals_.async_wait([this, handler = std::move(handler)](error_code error, int) {
            if (error) return;
            signals_.clear(error);
            handler();
        });
    }

private:
    boost::asio::signal_set signals_;
};

}  // namespace

std::unique_ptr<StopSignals> StopSignals::make(std::function<void()> handler) {
    return std::make_unique<AsioStopSignals>(std::move(handler));
}

void StopSignals::afterAMoment(std::function<void()> block) {
    const auto timer =
        std::make_shared<boost::asio::steady_timer>(ioContextOf(RunLoop::main()), std::chrono::milliseconds(100));
    timer->async_wait([timer, block = std::move(block)](error_code error) {
        if (!error) block();
    });
}

}  // namespace qs
