// Which programs of this user run, by application identifier. A program of ours announces itself by owning the
// identifier as a well-known name on the D-Bus session bus, or, without a bus, by a locked file in the runtime folder.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct RunningApplication {
    int processIdentifier = 0;
};

// Ends the announcement when destroyed.
class ApplicationAnnouncement {
public:
    virtual ~ApplicationAnnouncement() = default;
};

class RunningApplications {
public:
    virtual ~RunningApplications() = default;
    virtual std::vector<RunningApplication> runningApplicationsWithBundleIdentifier(std::string_view identifier) = 0;
    // Fails when another process has announced itself under the identifier.
    virtual Result<std::unique_ptr<ApplicationAnnouncement>> announce(std::string_view identifier) = 0;
};

}  // namespace qs
