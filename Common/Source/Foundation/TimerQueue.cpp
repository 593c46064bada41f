#include "Foundation/TimerQueue.h"

#include <atomic>
#include <cmath>
#include <vector>

namespace qs {

// The block is shared with a firing under way: a timer may be invalidated by its own block.
class TimerQueue::Entry : public Timer, public std::enable_shared_from_this<TimerQueue::Entry> {
public:
    Entry(std::weak_ptr<TimerQueue> queue, TimeInterval interval, Block block)
        : interval_(interval), queue_(std::move(queue)), block_(std::make_shared<const Block>(std::move(block))) {}

    void invalidate() override {
        valid_ = false;
        std::shared_ptr<const Block> dropped;  // goes when nothing is locked: what it holds may come back here
        if (auto queue = queue_.lock()) {
            std::lock_guard guard(queue->lock_);
            if (auto place = queue->entries_.find(key_); place != queue->entries_.end() && place->second.get() == this)
                queue->entries_.erase(place);
            dropped = std::move(block_);
        }
    }
    bool isValid() const override { return valid_; }

private:
    friend class TimerQueue;
    const TimeInterval interval_;
    const std::weak_ptr<TimerQueue> queue_;
    std::atomic<bool> valid_ = true;
    // Guarded by the queue's lock.
    Key key_;
    std::shared_ptr<const Block> block_;
};

TimerRef TimerQueue::add(TimeInterval due, TimeInterval interval, Block block) {
    auto entry = std::make_shared<Entry>(weak_from_this(), interval, std::move(block));
    std::lock_guard guard(lock_);
    if (closed_) {
        entry->valid_ = false;
        return entry;
    }
    entry->key_.first = due;
    insert(entry);
    return entry;
}

void TimerQueue::insert(const std::shared_ptr<Entry>& entry) {
    entry->key_.second = ++lastNumber_;
    entries_.emplace(entry->key_, entry);
}

std::optional<TimeInterval> TimerQueue::earliest() const {
    std::lock_guard guard(lock_);
    if (entries_.empty()) return std::nullopt;
    return entries_.begin()->first.first;
}

bool TimerQueue::fireOne(TimeInterval time, const std::function<void()>& beforeBlock,
                         const std::function<TimeInterval()>& uptime) {
    std::shared_ptr<Entry> entry;
    std::shared_ptr<const Block> block;
    {
        std::lock_guard guard(lock_);
        if (entries_.empty() || entries_.begin()->first.first > time) return false;
        entry = entries_.begin()->second;
        entries_.erase(entries_.begin());
        block = entry->block_;
        if (entry->interval_ == 0) {
            entry->valid_ = false;
            entry->block_.reset();
        }
    }
    beforeBlock();
    try {
        (*block)();
    } catch (...) {
        putBack(entry, uptime());
        throw;
    }
    putBack(entry, uptime());
    return true;
}

void TimerQueue::putBack(const std::shared_ptr<Entry>& entry, TimeInterval now) {
    std::lock_guard guard(lock_);
    if (!entry->valid_ || closed_) return;
    const TimeInterval interval = entry->interval_, due = entry->key_.first;
    TimeInterval next = due + interval;
    if (next <= now) next = due + (std::floor((now - due) / interval) + 1) * interval;
    entry->key_.first = next > now ? next : now + interval;
    insert(entry);
}

void TimerQueue::close() {
    std::map<Key, std::shared_ptr<Entry>> dropped;
    std::vector<std::shared_ptr<const Block>> blocks;
    std::lock_guard guard(lock_);
    closed_ = true;
    dropped.swap(entries_);
    for (auto& [key, entry] : dropped) {
        entry->valid_ = false;
        blocks.push_back(std::move(entry->block_));
    }
}

}  // namespace qs
