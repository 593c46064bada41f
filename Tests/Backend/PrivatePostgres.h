// A PostgreSQL server of the test's own: data in a temporary folder, reached through a socket there, ended with the
// test.
#pragma once

#include <sys/types.h>

#include <string>

#include "Support/TemporaryFolder.h"

namespace qs {

class PrivatePostgres {
public:
    static bool isInstalled();
    PrivatePostgres();
    ~PrivatePostgres();
    PrivatePostgres(const PrivatePostgres&) = delete;
    PrivatePostgres& operator=(const PrivatePostgres&) = delete;

    std::string connection() const;  // libpq's text
    void restart();

private:
    void start();
    void stop();

    TemporaryFolder folder_;
    pid_t server_ = -1;
};

}  // namespace qs
