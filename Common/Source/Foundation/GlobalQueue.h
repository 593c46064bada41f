// The threads that run blocks which may wait: started when there is work and none is free, up to a bound, kept until
// the queue goes.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "Foundation/RunLoop.h"

namespace qs {

class GlobalQueue {
public:
    ~GlobalQueue() { close(); }

    // From every thread. Exceptions of the block are logged. After close() blocks are dropped unrun.
    void add(Block block);
    // Drops what waits and returns when what runs is done.
    void close();
    // Whether the caller runs on a thread of a global queue.
    static bool isOnWorkerThread();

private:
    void work();

    // Blocks wait for servers and disks more than they compute.
    static constexpr std::size_t kMostThreads = 16;

    std::mutex lock_;
    std::condition_variable more_;
    std::deque<Block> waiting_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool closed_ = false;
};

}  // namespace qs
