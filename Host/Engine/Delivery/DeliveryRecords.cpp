#include "Delivery/DeliveryRecords.h"

#include <algorithm>
#include <iterator>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"

namespace qs {

namespace {

constexpr TimeInterval kWaits[] = {30, 60, 120, 300, 900};

}  // namespace

DeliveryRecords::DeliveryRecords(std::filesystem::path file, FileSystem& files)
    : file_(std::move(file)), files_(files) {
    auto text = files_.read(file_);
    auto parsed = text ? parsePropertyList(*text) : failed(text);
    if (!parsed) return;
    for (const auto& [uniqueID, value] : parsed->dictionary())
        records_[uniqueID] = {static_cast<int>(value["attempts"].integerValue()), value["lastAnswer"].stringValue(),
                              value["refused"].boolValue(), value["nextAttempt"].dateValue().value_or(Date{})};
}

DeliveryRecord DeliveryRecords::record(std::string_view uniqueID) const {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(uniqueID);
    return found == records_.end() ? DeliveryRecord() : found->second;
}

void DeliveryRecords::noteFailure(std::string_view uniqueID, std::string_view answer, bool refused, Date now) {
    std::scoped_lock lock(lock_);
    auto& record = records_[std::string(uniqueID)];
    const auto step = std::min<std::size_t>(static_cast<std::size_t>(record.attempts), std::size(kWaits) - 1);
    ++record.attempts;
    record.lastAnswer = answer;
    record.refused = refused;
    record.nextAttempt = now + kWaits[step];
    write();
}

void DeliveryRecords::forget(std::string_view uniqueID) {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(uniqueID);
    if (found == records_.end()) return;
    records_.erase(found);
    write();
}

void DeliveryRecords::write() {
    Dictionary all;
    for (const auto& [uniqueID, record] : records_)
        all[uniqueID] = Dictionary{{"attempts", record.attempts},
                                   {"lastAnswer", record.lastAnswer},
                                   {"refused", record.refused},
                                   {"nextAttempt", record.nextAttempt}};
    (void)files_.makeFolder(file_.parent_path());
    if (auto written = files_.replace(file_, xmlPropertyList(all)); !written)
        logWarning("The record of delivery attempts could not be kept: " + written.error().description);
}

}  // namespace qs
