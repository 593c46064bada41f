// The connections to the database, opened when they are first needed and opened anew when the server went away.
// From every thread; a call waits for a free connection.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <vector>

#include "Store/SqlConnection.h"

namespace qs {

class SqlPool {
public:
    using Open = std::function<std::unique_ptr<SqlConnection>()>;
    // The first connection is opened at once, and the tables are prepared: throws SqlFailure.
    SqlPool(Open open, int most);
    int most() const { return most_; }

    // Runs `work` with a connection, in a transaction that is committed when it returns and undone when it throws.
    template <class Work>
    auto transaction(Work work) {
        Lease lease(*this);
        lease.connection->begin();
        try {
            if constexpr (std::is_void_v<decltype(work(*lease.connection))>) {
                work(*lease.connection);
                lease.connection->commit();
            } else {
                auto result = work(*lease.connection);
                lease.connection->commit();
                return result;
            }
        } catch (...) {
            lease.connection->rollBack();
            throw;
        }
    }

private:
    struct Lease {
        explicit Lease(SqlPool& p) : pool(p), connection(p.take()) {}
        ~Lease() { pool.giveBack(std::move(connection)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        SqlPool& pool;
        std::unique_ptr<SqlConnection> connection;
    };
    std::unique_ptr<SqlConnection> take();
    void giveBack(std::unique_ptr<SqlConnection> connection);

    const Open open_;
    const int most_;
    std::mutex lock_;
    std::condition_variable freed_;
    std::vector<std::unique_ptr<SqlConnection>> free_;
    int leased_ = 0;
};

}  // namespace qs
