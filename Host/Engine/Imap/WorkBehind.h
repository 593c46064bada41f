// Does one piece of work at a time on a thread of its own, one behind whoever brings it: while a batch is kept, the
// next one comes. For one thread.
#pragma once

#include <functional>
#include <future>

#include "Foundation/Result.h"

namespace qs {

class WorkBehind {
public:
    WorkBehind() = default;
    ~WorkBehind() {
        if (under_.valid()) under_.wait();
    }
    WorkBehind(const WorkBehind&) = delete;
    WorkBehind& operator=(const WorkBehind&) = delete;

    // Waits for the piece before. After a failure nothing more is done.
    void put(std::function<Result<void>()> piece) {
        if (finish()) under_ = std::async(std::launch::async, std::move(piece));
    }
    bool isWell() const { return result_.has_value(); }
    // Waits for what was put; what a piece threw comes from here.
    Result<void> finish() {
        if (under_.valid()) result_ = under_.get();
        return result_;
    }

private:
    std::future<Result<void>> under_;
    Result<void> result_;
};

}  // namespace qs
