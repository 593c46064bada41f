#include "Library/ReadingState.h"

#include <utility>

#include "Foundation/RunLoop.h"

namespace qs {

void ReadingState::await(std::int64_t mailbox) {
    const std::lock_guard hold(lock_);
    unread_[mailbox] = Stage::Awaited;
}

void ReadingState::noteListed(std::int64_t mailbox, const std::string& account, std::optional<std::int64_t> files) {
    const std::lock_guard hold(lock_);
    const auto found = unread_.find(mailbox);
    if (found == unread_.end()) return;
    const bool isFirst = std::exchange(found->second, Stage::Begun) == Stage::Awaited;
    if (isFirst && files.value_or(0) > 0) progress_[account].total += *files;
}

void ReadingState::noteTaken(const std::string& account, std::int64_t files) {
    const std::lock_guard hold(lock_);
    if (const auto found = progress_.find(account); found != progress_.end()) found->second.done += files;
}

void ReadingState::noteRead(std::int64_t mailbox) {
    const std::lock_guard hold(lock_);
    unread_.erase(mailbox);
}

bool ReadingState::isAwaited(std::int64_t mailbox) const {
    const std::lock_guard hold(lock_);
    const auto found = unread_.find(mailbox);
    return found != unread_.end() && found->second == Stage::Awaited;
}

bool ReadingState::isRead(std::int64_t mailbox) const {
    const std::lock_guard hold(lock_);
    return !unread_.contains(mailbox);
}

ReadingProgress ReadingState::progress(std::string_view account) const {
    const std::lock_guard hold(lock_);
    const auto found = progress_.find(account);
    return found == progress_.end() ? ReadingProgress() : found->second;
}

void ReadingState::jobAdded() {
    const std::lock_guard hold(lock_);
    ++jobs_;
}

std::vector<std::string> ReadingState::jobEnded() {
    const std::lock_guard hold(lock_);
    std::vector<std::string> ended;
    if (--jobs_ > 0) return ended;
    for (const auto& [account, progress] : std::exchange(progress_, {}))
        ended.push_back(account);
    changed_.notify_all();
    RunLoop* const loop = RunLoop::mainIfInstalled();
    if (loop && !waiting_.empty())
        loop->post([weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->tell();
        });
    return ended;
}

bool ReadingState::isOver() const {
    const std::lock_guard hold(lock_);
    return jobs_ == 0;
}

void ReadingState::whenOver(std::function<void()> done) {
    {
        const std::lock_guard hold(lock_);
        if (isStopped_) return;
        // Those who came earlier are told first.
        if (jobs_ > 0 || !waiting_.empty()) return waiting_.push_back(std::move(done));
    }
    done();
}

void ReadingState::tell() {
    std::vector<std::function<void()>> told;
    {
        const std::lock_guard hold(lock_);
        if (jobs_ > 0 || isStopped_) return;  // more came; its end is told of, too
        told.swap(waiting_);
    }
    for (const auto& each : told)
        each();
}

void ReadingState::waitUntilOver() {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [this] { return jobs_ == 0 || isStopped_; });
}

void ReadingState::stop() {
    std::vector<std::function<void()>> dropped;
    const std::lock_guard hold(lock_);
    isStopped_ = true;
    dropped.swap(waiting_);
    changed_.notify_all();
}

bool ReadingState::isStopped() const {
    const std::lock_guard hold(lock_);
    return isStopped_;
}

}  // namespace qs
