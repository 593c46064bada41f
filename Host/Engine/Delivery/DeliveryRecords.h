// What is remembered of messages that wait in an outbox: how often they were tried, what was answered last, when the
// next attempt may be, and which recipients have it already. One property-list file, so that it survives a restart; a
// lost or damaged file costs no more than one early attempt. Safe from every thread.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

struct DeliveryRecord {
    int attempts = 0;
    std::string lastAnswer;
    bool refused = false;  // for good: tried again only when the person asks
    Date nextAttempt;
    std::set<std::string> reached;  // recipients that have the message and must not get it again
};

class DeliveryRecords {
public:
    DeliveryRecords(std::filesystem::path file, FileSystem& files);

    DeliveryRecord record(std::string_view key) const;  // of zeros when there is none
    // When the message may be tried. A clock that was wrong for a while never makes it wait longer than the rule says.
    Date dueDate(std::string_view key, Date now) const;
    // One more attempt that ended without delivery. The wait before the next grows: 30 s, 1, 2, 5, then 15 minutes.
    void noteFailure(std::string_view key, std::string_view answer, bool refused, Date now);
    // Durable when it succeeds.
    Result<void> noteReached(std::string_view key, const std::set<std::string>& recipients);
    void allowAttempt(std::string_view key);  // now, whatever earlier ones ended with
    void forget(std::string_view key);        // delivered, or another message goes by that name now
    void forgetAllBut(const std::set<std::string>& keys);

private:
    Result<void> write();
    void writeOrWarn();

    std::filesystem::path file_;
    FileSystem& files_;
    mutable std::mutex lock_;
    std::map<std::string, DeliveryRecord, std::less<>> records_;
};

}  // namespace qs
