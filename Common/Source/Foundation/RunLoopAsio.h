// For adapters that put sockets on the run loop: the only header that shows Asio.
//
// Handlers run on the main thread, in nested runs too. Start and use I/O objects on the main thread. A handler that may
// run a nested loop (one that calls host code, which may show an alert) hands that part to RunLoop::post(): within a
// handler, Asio may hold back what the handler itself started until it returns.
#pragma once

#include <boost/asio/io_context.hpp>

namespace qs {

class RunLoop;

// Lives as long as the loop. When the loop goes, handlers that wait are dropped uncalled.
boost::asio::io_context& ioContextOf(RunLoop& loop);

}  // namespace qs
