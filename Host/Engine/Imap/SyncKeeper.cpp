#include "Imap/SyncKeeper.h"

#include <algorithm>
#include <set>

#include "Database/Database.h"
#include "Foundation/Log.h"
#include "Imap/AccountSync.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirroredName.h"
#include "Library/LibraryObjects.h"

namespace qs {

namespace {

Result<void> notNow(const std::string& what) {
    return failure(std::string(kMailLibraryErrorDomain), kMailLibraryIndex, "It can't be " + what + " just now.");
}

Result<void> keeping(const std::string& what, const std::function<void()>& keep) {
    try {
        keep();
    } catch (const DatabaseFailure& exception) {
        if (!exception.isFull()) return notNow(what);
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryIndex,
                       "There is no space left on the disk, so nothing can be " + what + ".");
    }
    return {};
}

// What `ask` answers; an empty answer, and a log line, when the state can't be read.
template <class Ask>
auto reading(const std::string& account, Ask ask) -> decltype(ask()) {
    try {
        return ask();
    } catch (const DatabaseFailure& failure) {
        logError("the state of " + account + ": " + failure.what());
        return {};
    }
}

bool isLabelFolder(MirrorState& state, const std::string& folder) {
    if (const auto mailbox = state.mailboxOfFolder(folder)) return mailbox->isLabel();
    const MailboxKind kind = kindOfFolder(folder);
    return kind == MailboxKind::User || kind == MailboxKind::Inbox || kind == MailboxKind::Drafts ||
           kind == MailboxKind::Sent;
}

}  // namespace

void SyncKeeper::put(const std::string& account, std::shared_ptr<MirrorState> state) {
    const std::lock_guard hold(lock_);
    mirrors_[account].state = std::move(state);
}

void SyncKeeper::putSync(const std::string& account, std::weak_ptr<AccountSync> sync) {
    const std::lock_guard hold(lock_);
    mirrors_[account].sync = std::move(sync);
}

void SyncKeeper::remove(const std::string& account) {
    const std::lock_guard hold(lock_);
    mirrors_.erase(account);
}

std::shared_ptr<MirrorState> SyncKeeper::stateOf(const std::string& account) const {
    const std::lock_guard hold(lock_);
    const auto found = mirrors_.find(account);
    return found == mirrors_.end() ? nullptr : found->second.state;
}

bool SyncKeeper::isLost(const std::string& account) const {
    const std::lock_guard hold(lock_);
    const auto found = mirrors_.find(account);
    return found != mirrors_.end() && !found->second.state;
}

std::shared_ptr<MirrorState> SyncKeeper::gmailStateOf(const std::string& account) const {
    auto state = stateOf(account);
    return state && state->isGmail() ? state : nullptr;
}

Result<void> SyncKeeper::willRemove(const std::vector<Message>& messages) {
    std::map<std::shared_ptr<MirrorState>, std::vector<MirrorState::Removal>> noted;
    for (const Message& each : messages) {
        if (staysHere(each.folder)) continue;
        if (isLost(each.account)) return notNow("deleted");
        if (const auto state = stateOf(each.account)) noted[state].push_back({each.folder, each.name});
    }
    return keeping("deleted", [&] {
        for (const auto& [state, list] : noted)
            state->noteRemovals(list);
    });
}

Result<void> SyncKeeper::willChange(const std::vector<std::pair<Message, MirrorWish>>& changes) {
    std::map<std::shared_ptr<MirrorState>, std::vector<std::pair<std::string, MirrorWish>>> noted;
    for (const auto& [message, wish] : changes) {
        if (isLost(message.account)) return notNow("changed");
        if (const auto state = stateOf(message.account)) noted[state].emplace_back(message.name, wish);
    }
    return keeping("changed", [&] {
        for (const auto& [state, list] : noted)
            state->noteWishes(list);
    });
}

Result<void> SyncKeeper::willRename(const std::string& account, const std::vector<Renaming>& folders) {
    std::vector<MirrorState::Renaming> list;
    for (const Renaming& each : folders)
        list.push_back({each.from, each.to});
    if (isLost(account)) return notNow("renamed");
    const auto state = stateOf(account);
    return keeping("renamed", [&] {
        if (state) state->orderRenaming(list);
    });
}

Result<void> SyncKeeper::willRemoveFolders(const std::string& account, const std::vector<std::string>& folders) {
    if (isLost(account)) return notNow("deleted");
    const auto state = stateOf(account);
    return keeping("deleted", [&] {
        if (state) state->orderRemoval(folders);
    });
}

std::map<std::string, MirrorWish> SyncKeeper::wishes(const std::string& account) {
    const auto state = stateOf(account);
    if (!state) return {};
    return reading(account, [&] { return state->wishes(); });
}

void SyncKeeper::isWanted(const std::string& account, const std::string& name) {
    std::shared_ptr<AccountSync> sync;
    {
        const std::lock_guard hold(lock_);
        if (const auto found = mirrors_.find(account); found != mirrors_.end()) sync = found->second.sync.lock();
    }
    if (sync) sync->fetchSoon(name);
}

bool SyncKeeper::isGmail(const std::string& account) { return gmailStateOf(account) != nullptr; }

bool SyncKeeper::isLabel(const std::string& account, const std::string& folder) {
    const auto state = gmailStateOf(account);
    return state && !staysHere(folder) && reading(account, [&] { return isLabelFolder(*state, folder); });
}

bool SyncKeeper::isAllMail(const std::string& account, const std::string& folder) {
    const auto state = gmailStateOf(account);
    return state && reading(account, [&] {
               const auto mailbox = state->mailboxOfFolder(folder);
               return mailbox && mailbox->use == MirroredMailbox::Use::AllMail;
           });
}

std::vector<std::uint64_t> SyncKeeper::messagesNamed(const std::string& account,
                                                     const std::vector<std::string>& names) {
    const auto state = gmailStateOf(account);
    auto messages = !state ? std::vector<std::uint64_t>() : reading(account, [&] {
        const auto mailboxes = state->mailboxes();
        std::vector<std::uint64_t> found;
        for (const std::string& name : names) {
            std::uint64_t message = gmailMessageInName(name).value_or(0);
            if (message == 0) message = state->gmailNumberNamed(name);
            // Only listed yet, or not kept track of yet.
            for (auto each = mailboxes.begin(); message == 0 && each != mailboxes.end(); ++each)
                if (const auto uid = uidInName(*each, name)) message = state->gmailNumber(each->number, *uid);
            found.push_back(message);
        }
        return found;
    });
    messages.resize(names.size());
    return messages;
}

bool SyncKeeper::isKept(const std::string& account, std::uint64_t message) {
    const auto state = gmailStateOf(account);
    return state && reading(account, [&] { return state->isGmailKept(message); });
}

std::vector<std::string> SyncKeeper::labels(const std::string& account, std::uint64_t message) {
    const auto state = gmailStateOf(account);
    if (!state || message == 0) return {};
    return reading(account, [&] {
        std::set<std::string> folders;
        for (const auto& place : state->gmailPlaces(message))
            if (const auto mailbox = state->mailboxNumbered(place.mailbox); mailbox && mailbox->isLabel())
                folders.insert(mailbox->folder);
        for (const LabelOrder& order : state->labelOrders())
            if (order.message == message && order.isAdded)
                folders.insert(order.folder);
            else if (order.message == message)
                folders.erase(order.folder);
        return std::vector<std::string>(folders.begin(), folders.end());
    });
}

Result<void> SyncKeeper::willLabel(const std::string& account, const std::vector<Order>& orders) {
    const auto state = gmailStateOf(account);
    if (!state)
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The account has no labels.");
    std::vector<LabelOrder> list;
    for (const Order& each : orders)
        list.push_back({.message = each.message, .folder = each.folder, .isAdded = each.isAdded});
    return keeping("labelled", [&] { state->orderLabels(list); });
}

}  // namespace qs
