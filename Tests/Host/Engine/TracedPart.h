// For tests that kill the program at a chosen system call, watched from outside: what it asks of the kernel decides,
// not what our own code knows about it. The part is started as in KillSupport.h.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qs {

struct TracedEnd {
    int status = 0;  // as waitpid tells it
    int calls = 0;   // that were counted
};

// Runs that test in a process of its own until it stops itself (raise(SIGSTOP)). From there the calls of all its
// threads are counted that change what somebody else can see: files, folders, connections. It is killed when it is
// about to make number `dieAt`, which is not made any more; 0: never. Whatever is between two of them looks to
// everybody else like the time before the second.
//
// The calling thread must be the only one that waits for children.
TracedEnd runPartToCall(const std::string& test, const std::vector<std::string>& assignments,
                        const std::filesystem::path& log, int dieAt);

}  // namespace qs
