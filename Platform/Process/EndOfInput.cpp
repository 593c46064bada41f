#include "Process/EndOfInput.h"

#include <unistd.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "Foundation/RunLoop.h"
#include "Foundation/RunLoopAsio.h"

namespace qs {
namespace {

using boost::system::error_code;

class AsioEndOfInput : public EndOfInput {
public:
    explicit AsioEndOfInput(std::function<void()> handler)
        : handler_(std::move(handler)), input_(ioContextOf(RunLoop::main()), ::dup(STDIN_FILENO)) {
        read();
    }

private:
    void read() {
        input_.async_read_some(boost::asio::buffer(dropped_), [this](error_code error, std::size_t) {
            if (error == boost::asio::error::operation_aborted) return;  // this object may be gone
            error ? handler_() : read();
        });
    }

    const std::function<void()> handler_;
    std::array<char, 256> dropped_{};
    boost::asio::posix::stream_descriptor input_;
};

}  // namespace

std::unique_ptr<EndOfInput> EndOfInput::make(std::function<void()> handler) {
    return std::make_unique<AsioEndOfInput>(std::move(handler));
}

}  // namespace qs
