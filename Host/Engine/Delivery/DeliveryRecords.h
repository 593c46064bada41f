// What is remembered of messages that wait in an outbox: how often they were tried, what was answered last, and when
// the next attempt may be. One property-list file, so that it survives a restart; it is derived from what happened, and
// a lost or damaged file costs no more than one early attempt. Safe from every thread.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class FileSystem;

struct DeliveryRecord {
    int attempts = 0;
    std::string lastAnswer;
    bool refused = false;  // for good: tried again only when the person asks
    Date nextAttempt;
};

class DeliveryRecords {
public:
    DeliveryRecords(std::filesystem::path file, FileSystem& files);

    DeliveryRecord record(std::string_view uniqueID) const;  // of zeros when there is none
    // One more attempt that ended without delivery. The wait before the next grows: 30 s, 1, 2, 5, then 15 minutes.
    void noteFailure(std::string_view uniqueID, std::string_view answer, bool refused, Date now);
    void forget(std::string_view uniqueID);  // delivered, or to be tried again at once

private:
    void write();

    std::filesystem::path file_;
    FileSystem& files_;
    mutable std::mutex lock_;
    std::map<std::string, DeliveryRecord, std::less<>> records_;
};

}  // namespace qs
