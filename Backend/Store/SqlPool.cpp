#include "Store/SqlPool.h"

namespace qs {

SqlPool::SqlPool(Open open, int most) : open_(std::move(open)), most_(most) {
    free_.push_back(open_());
    prepareSchema(*free_.back());
}

std::unique_ptr<SqlConnection> SqlPool::take() {
    {
        std::unique_lock guard(lock_);
        freed_.wait(guard, [this] { return leased_ < most_; });
        ++leased_;
        while (!free_.empty()) {
            auto connection = std::move(free_.back());
            free_.pop_back();
            if (connection->isUsable()) return connection;
        }
    }
    try {
        return open_();
    } catch (...) {
        giveBack(nullptr);
        throw;
    }
}

void SqlPool::giveBack(std::unique_ptr<SqlConnection> connection) {
    const std::lock_guard guard(lock_);
    --leased_;
    if (connection && connection->isUsable()) free_.push_back(std::move(connection));
    freed_.notify_one();
}

}  // namespace qs
