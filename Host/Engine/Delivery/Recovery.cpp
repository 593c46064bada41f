// Settles what a crash left, each stage alone, before anything new is delivered; and what the person decides about
// messages that were perhaps sent.
#include <algorithm>
#include <cerrno>

#include "AccountBook.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "MailLibrary.h"

namespace qs {

namespace {

using Stage = DeliveryJournal::Stage;

tl::unexpected<Error> notInDoubt() {
    return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed),
                   "That message is settled already.");
}

}  // namespace

std::filesystem::path DeliveryServiceObject::claimedFolder(const std::string& account) const {
    return dataFolder_ / "Mail" / account / ".Outbox" / "claimed";
}

std::vector<std::filesystem::path> DeliveryServiceObject::claimedFiles(const std::string& account) {
    std::vector<std::filesystem::path> result;
    if (auto listing = files_.list(claimedFolder(account)))
        for (const auto& entry : *listing)
            if (!entry.isFolder) result.push_back(entry.path);
    return result;
}

void DeliveryServiceObject::lookThroughClaimed() {
    for (const auto& account : accounts_.all())
        for (const auto& file : claimedFiles(account.identifier))
            if (auto delivery = read({{}, account.identifier, file, Stage::Claimed, {}, 0, {}}))
                taken_[delivery->state.uniqueID] = {DeliveryStatus::State::Sending,
                                                    delivery->state.uniqueID,
                                                    0,
                                                    delivery->subject,
                                                    delivery->to,
                                                    0,
                                                    {}};
}

void DeliveryServiceObject::recover() {
    {
        std::scoped_lock lock(lock_);
        taken_.clear();
    }
    std::vector<std::string> damaged;
    const auto journals = journal_.readAll(damaged);
    for (auto& sentence : damaged)
        tell(std::move(sentence));
    for (const auto& account : accounts_.all())
        for (const auto& file : claimedFiles(account.identifier))
            recoverClaimed(file, account.identifier, journals);
    // A journal whose message is gone tells of a delivery that had ended but for its own removal.
    for (const auto& state : journals)
        if (!files_.exists(state.claimedFile)) (void)journal_.end(state);
    statusDidChange();
}

void DeliveryServiceObject::recoverClaimed(const std::filesystem::path& file, const std::string& account,
                                           const std::vector<DeliveryJournal::State>& journals) {
    const auto found = std::find_if(journals.begin(), journals.end(), [&file](const auto& state) {
        return state.claimedFile.filename() == file.filename();
    });
    DeliveryJournal::State state = found != journals.end() ? *found : DeliveryJournal::State();
    state.account = account;
    state.claimedFile = file;
    auto delivery = read(std::move(state));
    if (!delivery) return putAside(file);

    Result<void> settled;
    switch (delivery->state.stage) {
    case Stage::Claimed: settled = putBack(*delivery); break;
    case Stage::FinalDot:
        if (!standsAmongSent(*delivery)) {
            keepInDoubt(*delivery, "The program ended before the server had answered.");
            return;
        }
        settled = saveSentCopyAndTidy(*delivery);
        break;
    case Stage::Accepted:
    case Stage::SentCopied: settled = saveSentCopyAndTidy(*delivery); break;
    }
    if (!settled)
        tell("\"" + delivery->subject + "\" could not be settled yet: " + settled.error().description,
             delivery->state.uniqueID);
}

// Shown, never lost, and not in the way of the others.
void DeliveryServiceObject::putAside(const std::filesystem::path& file) {
    const auto folder = dataFolder_ / "Deliveries" / "corrupt";
    const auto target = folder / file.filename();
    auto moved = files_.makeFolder(folder);
    if (moved) moved = files_.rename(file, target);
    tell(moved ? "A message in the outbox can't be read. It was put aside as " + target.string() + "."
               : "A message in the outbox can't be read: " + file.string() + ".");
}

std::optional<DeliveryServiceObject::Delivery> DeliveryServiceObject::takeDoubtful(std::string_view uniqueID) {
    std::scoped_lock lock(lock_);
    const auto found = inDoubt_.find(uniqueID);
    if (found == inDoubt_.end()) return std::nullopt;
    Delivery delivery = std::move(found->second);
    inDoubt_.erase(found);
    return delivery;
}

Result<void> DeliveryServiceObject::sendAgain(std::string_view uniqueID) {
    auto delivery = takeDoubtful(uniqueID);
    if (!delivery) return notInDoubt();
    records_.forget(uniqueID);
    auto back = putBack(*delivery);
    if (!back) {
        std::scoped_lock lock(lock_);
        inDoubt_[std::string(uniqueID)] = std::move(*delivery);
        return back;
    }
    unshow(uniqueID);
    process();
    return {};
}

Result<void> DeliveryServiceObject::markSent(std::string_view uniqueID) {
    auto delivery = takeDoubtful(uniqueID);
    if (!delivery) return notInDoubt();
    auto settled = journal_.noteStage(delivery->state, Stage::Accepted);
    if (settled) {
        delivery->state.stage = Stage::Accepted;
        settled = saveSentCopyAndTidy(*delivery);
    }
    if (!settled) {
        std::scoped_lock lock(lock_);
        inDoubt_[std::string(uniqueID)] = std::move(*delivery);
        return settled;
    }
    records_.forget(uniqueID);
    unshow(uniqueID);
    return {};
}

Result<void> DeliveryServiceObject::tryNow(std::string_view uniqueID) {
    records_.forget(uniqueID);
    statusDidChange();
    process();
    return {};
}

}  // namespace qs
