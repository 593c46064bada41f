// Waiting for what other threads do in their own time. It takes as long as it takes: the bound is for a test that
// fails.
#pragma once

#include <chrono>
#include <future>
#include <thread>

namespace qs {

inline constexpr std::chrono::minutes kLongestWait{1};

// Whether it came about. Once for each promise.
inline bool isKept(std::promise<void>& promise) {
    return promise.get_future().wait_for(kLongestWait) == std::future_status::ready;
}

// For what nobody tells: asks again and again, and answers whether it became so.
template <class Condition>
bool becomesSo(const Condition& isSo) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace qs
