// Tells when it is time to end: a signal asks for it (SIGTERM, SIGINT, SIGHUP), or a process that is worked for ended.
#pragma once

#include <functional>
#include <thread>

namespace qs {

class EndWatch {
public:
    // Blocks the signals, so make it before any other thread. `process` 0: only signals count. The handler is called
    // once at most, on a thread of its own.
    EndWatch(int process, std::function<void()> handler);
    ~EndWatch();
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

private:
    int signals_ = -1, process_ = -1, stop_ = -1;
    std::thread thread_;
};

}  // namespace qs
