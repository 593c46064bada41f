// How a thread waits for a block that another one runs: it gets the block's exception, or learns that the block was
// dropped unrun.
#pragma once

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace qs {

class Handover {
public:
    // Held by the block; when the last copy of the block goes, the wait ends in any case.
    class Ticket {
    public:
        explicit Ticket(std::shared_ptr<Handover> handover) : handover_(std::move(handover)) {}
        ~Ticket() { handover_->end(State::Dropped, nullptr); }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

        // The exception must be this thread's only reference to it: the waiter destroys it.
        void done(std::exception_ptr error) { handover_->end(State::Ran, std::move(error)); }

    private:
        const std::shared_ptr<Handover> handover_;
    };

    // Throws what the block threw; a std::runtime_error if it was dropped.
    void wait() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return state_ != State::Waiting; });
        if (state_ == State::Dropped) throw std::runtime_error("The run loop went before the block ran");
        if (std::exception_ptr error = std::move(error_)) std::rethrow_exception(std::move(error));
    }

private:
    enum class State { Waiting, Ran, Dropped };

    void end(State state, std::exception_ptr error) {
        std::lock_guard guard(lock_);
        if (state_ != State::Waiting) return;
        state_ = state;
        error_ = std::move(error);
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    State state_ = State::Waiting;
    std::exception_ptr error_;
};

}  // namespace qs
