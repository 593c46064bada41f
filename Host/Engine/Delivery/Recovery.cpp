// Settles what a crash or a failing disk left, each stage alone, before anything new is delivered; and what the person
// decides about messages that were perhaps sent.
#include <algorithm>
#include <cerrno>

#include "AccountBook.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Mail/Mailbox.h"
#include "MailLibrary.h"
#include "MailReading.h"

namespace qs {

namespace {

using Stage = DeliveryJournal::Stage;

// For certain; a disk that does not answer is no proof.
bool isGone(FileSystem& files, const std::filesystem::path& file) {
    const auto found = files.info(file);
    return !found && (found.error().code == ENOENT || found.error().code == ENOTDIR);
}

}  // namespace

std::filesystem::path DeliveryServiceObject::outboxFolder(const std::string& account) const {
    return dataFolder_ / "Mail" / account / ".Outbox";
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
            if (auto delivery = read({.account = account.identifier, .claimedFile = file}))
                taken_[delivery->state.uniqueID] = {.state = DeliveryStatus::State::Sending,
                                                    .account = account.identifier,
                                                    .uniqueID = delivery->state.uniqueID,
                                                    .subject = delivery->subject,
                                                    .to = delivery->to,
                                                    .until = {}};
}

void DeliveryServiceObject::recover() {
    {
        std::scoped_lock lock(lock_);
        taken_.clear();
    }
    takeUpLeftovers();
    // A journal whose message is gone tells of a delivery that had ended but for its own removal.
    std::vector<std::string> damaged;
    for (const auto& state : journal_.readAll(damaged)) {
        const auto accounts = accounts_.all();
        const bool isGoneEverywhere = std::all_of(accounts.begin(), accounts.end(), [&](const AccountRecord& account) {
            return isGone(files_, claimedFolder(account.identifier) / state.claimedFile.filename());
        });
        if (isGoneEverywhere && isGone(files_, state.claimedFile)) (void)journal_.end(state);
    }
    forgetOldRecords();
    statusDidChange();
}

// On the main thread before the queue starts, on the queue's own afterwards; no delivery is under way meanwhile.
void DeliveryServiceObject::takeUpLeftovers() {
    std::optional<std::vector<DeliveryJournal::State>> journals;
    for (const auto& account : accounts_.all()) {
        for (const auto& file : claimedFiles(account.identifier)) {
            {
                std::scoped_lock lock(lock_);
                if (doubtful_.contains(file.filename())) continue;
            }
            if (!journals) {
                std::vector<std::string> damaged;
                journals = journal_.readAll(damaged);
                for (auto& sentence : damaged)
                    tell(std::move(sentence));
            }
            recoverClaimed(file, account.identifier, *journals);
        }
    }
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
    if (!delivery) return putAside(file, delivery.error());
    // A journal that had not begun yet says nothing of what earlier attempts reached.
    delivery->state.reached.merge(records_.record(delivery->state.uniqueID).reached);

    Result<void> settled;
    switch (delivery->state.stage) {
    case Stage::Claimed: settled = putBack(*delivery); break;
    case Stage::FinalDot:
        if (keepInDoubt(*delivery, "The program ended before the server had answered.") == kDeliveryDelivered)
            tellSettled(*delivery);
        return;
    case Stage::Accepted:
        if (!isShown(delivery->state.uniqueID)) tellRefused(*delivery);
        settled = saveSentCopyAndTidy(*delivery);
        break;
    case Stage::SentCopied: settled = saveSentCopyAndTidy(*delivery); break;
    }
    if (!settled)
        return tellUnsettled(*delivery, DeliveryStatus::State::Failed,
                             "It could not be settled yet: " + settled.error().description);
    if (delivery->state.stage != Stage::Claimed) {
        records_.forget(delivery->state.uniqueID);
        tellSettled(*delivery);
    }
    unshow(delivery->state.uniqueID);
}

void DeliveryServiceObject::forgetOldRecords() {
    // The index may not know yet what the crash left in an outbox. A message that could not be read in must not go to
    // those once more whom its record tells it has reached.
    for (const auto& account : accounts_.all())
        if (const auto outbox = library_.mailbox(account.identifier, MailboxKind::Outbox, false))
            if (!MailReading::of(library_).readNow(outbox->identifier())) return;
    std::set<std::string> waiting;
    for (const auto& status : statuses())
        waiting.insert(status.uniqueID);
    records_.forgetAllBut(waiting);
}

std::optional<DeliveryServiceObject::Delivery> DeliveryServiceObject::takeDoubtful(std::string_view uniqueID) {
    std::scoped_lock lock(lock_);
    const auto found = inDoubt_.find(uniqueID);
    if (found == inDoubt_.end()) return std::nullopt;
    Delivery delivery = std::move(found->second);
    inDoubt_.erase(found);
    return delivery;
}

// Carries the person's answer out; when that fails, the question stays.
Result<void> DeliveryServiceObject::settleDoubt(std::string_view uniqueID,
                                                const std::function<Result<void>(Delivery&)>& settle) {
    auto delivery = takeDoubtful(uniqueID);
    if (!delivery)
        return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed),
                       "That message is settled already.");
    const auto file = delivery->state.claimedFile.filename();
    auto settled = settle(*delivery);
    {
        std::scoped_lock lock(lock_);
        if (settled)
            doubtful_.erase(file);
        else
            inDoubt_[std::string(uniqueID)] = std::move(*delivery);
    }
    if (!settled) return settled;
    // One that some have waits for the others, and who has it stays known.
    if (delivery->state.stage == Stage::Claimed && !delivery->state.reached.empty())
        records_.allowAttempt(uniqueID);
    else
        records_.forget(uniqueID);
    unshow(uniqueID);
    return {};
}

Result<void> DeliveryServiceObject::sendAgain(std::string_view uniqueID) {
    auto settled = settleDoubt(uniqueID, [this](Delivery& delivery) { return putBack(delivery); });
    if (settled) process();
    return settled;
}

Result<void> DeliveryServiceObject::markSent(std::string_view uniqueID) {
    auto settled = settleDoubt(uniqueID, [this](Delivery& delivery) -> Result<void> {
        if (auto noted = journal_.noteStage(delivery.state, Stage::Accepted); !noted) return noted;
        delivery.state.stage = Stage::Accepted;
        auto saved = saveSentCopyAndTidy(delivery);
        if (saved) tellSettled(delivery);
        return saved;
    });
    if (settled) process();  // recipients that were refused for now are tried again
    return settled;
}

Result<void> DeliveryServiceObject::tryNow(std::string_view uniqueID) {
    records_.allowAttempt(uniqueID);
    statusDidChange();
    process();
    return {};
}

}  // namespace qs
