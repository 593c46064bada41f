#include "Delivery/DeliveryRecords.h"

#include <algorithm>
#include <iterator>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"

namespace qs {

namespace {

constexpr TimeInterval kWaits[] = {30, 60, 120, 300, 900};
constexpr TimeInterval kLongestWait = 900;

DeliveryRecord recordFrom(const Value& value) {
    DeliveryRecord record{static_cast<int>(value["attempts"].integerValue()),
                          value["lastAnswer"].stringValue(),
                          value["refused"].boolValue(),
                          value["nextAttempt"].dateValue().value_or(Date{}),
                          {}};
    for (const auto& recipient : value["reached"].array())
        record.reached.insert(recipient.stringValue());
    return record;
}

Value valueFrom(const DeliveryRecord& record) {
    return Dictionary{{"attempts", record.attempts},
                      {"lastAnswer", record.lastAnswer},
                      {"refused", record.refused},
                      {"nextAttempt", record.nextAttempt},
                      {"reached", Array(record.reached.begin(), record.reached.end())}};
}

}  // namespace

DeliveryRecords::DeliveryRecords(std::filesystem::path file, FileSystem& files)
    : file_(std::move(file)), files_(files) {
    auto text = files_.read(file_);
    auto parsed = text ? parsePropertyList(*text) : failed(text);
    if (!parsed) return;
    for (const auto& [key, value] : parsed->dictionary())
        records_[key] = recordFrom(value);
}

DeliveryRecord DeliveryRecords::record(std::string_view key) const {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(key);
    return found == records_.end() ? DeliveryRecord() : found->second;
}

Date DeliveryRecords::dueDate(std::string_view key, Date now) const {
    const Date next = record(key).nextAttempt;
    return next - now > kLongestWait ? now : next;
}

void DeliveryRecords::noteFailure(std::string_view key, std::string_view answer, bool refused, Date now) {
    std::scoped_lock lock(lock_);
    auto& record = records_[std::string(key)];
    const auto step = std::min<std::size_t>(static_cast<std::size_t>(record.attempts), std::size(kWaits) - 1);
    ++record.attempts;
    record.lastAnswer = answer;
    record.refused = refused;
    record.nextAttempt = now + kWaits[step];
    writeOrWarn();
}

Result<void> DeliveryRecords::noteReached(std::string_view key, const std::set<std::string>& recipients) {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(key);
    if (recipients == (found == records_.end() ? std::set<std::string>() : found->second.reached)) return {};
    auto before = records_;
    records_[std::string(key)].reached = recipients;
    auto written = write();
    // What is not on the disk is not known: asked again, it is written again.
    if (!written) records_ = std::move(before);
    return written;
}

void DeliveryRecords::allowAttempt(std::string_view key) {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(key);
    if (found == records_.end()) return;
    found->second.refused = false;
    found->second.nextAttempt = {};
    writeOrWarn();
}

void DeliveryRecords::forget(std::string_view key) {
    std::scoped_lock lock(lock_);
    const auto found = records_.find(key);
    if (found == records_.end()) return;
    records_.erase(found);
    writeOrWarn();
}

void DeliveryRecords::forgetAllBut(const std::set<std::string>& keys) {
    std::scoped_lock lock(lock_);
    if (std::erase_if(records_, [&](const auto& entry) { return !keys.contains(entry.first); }) > 0) writeOrWarn();
}

Result<void> DeliveryRecords::write() {
    Dictionary all;
    for (const auto& [key, record] : records_)
        all[key] = valueFrom(record);
    if (auto made = files_.makeFolder(file_.parent_path()); !made) return made;
    return files_.replace(file_, xmlPropertyList(all));
}

void DeliveryRecords::writeOrWarn() {
    if (auto written = write(); !written)
        logWarning("The record of delivery attempts could not be kept: " + written.error().description);
}

}  // namespace qs
