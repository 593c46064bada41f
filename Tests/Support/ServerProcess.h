// A server program of the test's own: an ordinary process with its helpers in one process group, whose log is read from
// its standard output and error. It ends with the test, also when that crashes.
#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

// A configuration file: each name's value in place of it.
std::string filled(std::string_view pattern, const std::map<std::string, std::string>& values);

class ServerProcess {
public:
    struct Command {
        std::vector<std::string> arguments;  // the program's path first
        std::string startedWords;            // in its log, once it answers
        uid_t user = 0;                      // taken on where the test itself is root's; 0: none
        gid_t group = 0;
    };
    // Returns when it answers; false when it ended instead, and the log tells why.
    bool start(const Command& command);
    // Asks it to end, and waits until all of its processes are gone.
    void stop();
    ~ServerProcess() { stop(); }
    ServerProcess() = default;
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    std::string log() const;  // of the process that runs, or ran last
    // Waits until the log has these words; false when the server ended without them.
    bool waitForLog(std::string_view words) const;

private:
    struct Log;
    std::shared_ptr<Log> log_;
    pid_t process_ = -1;
};

}  // namespace qs
