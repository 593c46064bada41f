#include "Accounts/AccountChanges.h"

#include "AccountBook.h"
#include "Accounts/AccountRemovals.h"
#include "Application/HostInstances.h"
#include "DeliveryService.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/Mailbox.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailSync.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kLongestName = 40;

// A new tree may be large, so it is read elsewhere. `then` runs there, too.
void tellOfChange(MailEngine& engine, std::function<void()> then = nullptr) {
    NotificationCenter::defaultCenter().post(std::string(MailAccountsDidChangeNotification));
    // A look at the server that is not over yet must not take the mail that goes for mail that was deleted.
    engine.sync().afterLeaving([then = std::move(then)] {
        RunLoop::main().postToGlobalQueue(
            [library = std::dynamic_pointer_cast<MailLibrary>(HostInstances::current().library), then] {
                if (library) library->accountsDidChange();
                if (then) then();
            });
    });
}

std::string whyItStays(const AccountRecord& account, const DeliveryStatus& status) {
    if (status.state != DeliveryStatus::State::InDoubt)
        return "A message of this account is just being sent. Please try again later.";
    const std::string where =
        account.isEnabled ? "Please look into the outbox" : "Please switch the account on, look into its outbox";
    return "A message of this account was perhaps sent, and perhaps not. " + where + " and decide what becomes of it.";
}

}  // namespace

std::string freshAccountIdentifier(MailEngine& engine, std::string_view address) {
    std::string name;
    for (const char c : asciiLowered(address.substr(0, kLongestName)))
        if (isAsciiLetter(c) || isAsciiDigit(c))
            name += c;
        else if (!name.empty() && name.back() != '-')
            name += '-';
    while (name.ends_with('-'))
        name.pop_back();
    if (name.empty()) name = "account";
    const AccountRemovals removals(engine.dataFolder(), engine.files());
    const auto isTaken = [&](const std::string& wanted) {
        return engine.accounts().find(wanted) || removals.isUnderWay(wanted) ||
               engine.files().exists(engine.dataFolder() / "Mail" / wanted);
    };
    std::string fresh = name;
    for (int number = 2; isTaken(fresh); ++number)
        fresh = name + "-" + std::to_string(number);
    return fresh;
}

Result<void> putAccount(MailEngine& engine, AccountRecord record) {
    if (auto put = engine.accounts().put(std::move(record)); !put) return put;
    tellOfChange(engine);
    return {};
}

void tryAgainWithNewSecrets(MailEngine& engine, std::string_view identifier) {
    engine.sync().syncNow(identifier);
    for (const DeliveryStatus& status : engine.deliveries().statuses())
        if (status.account == identifier && status.state == DeliveryStatus::State::Failed)
            if (const auto tried = engine.deliveries().tryNow(status.uniqueID); !tried)
                logWarning("a message that was refused is not tried again: " + tried.error().description);
}

int unsentMessages(MailEngine& engine, std::string_view identifier) {
    if (const auto outbox = engine.library().mailbox(identifier, MailboxKind::Outbox, false))
        return outbox->messageCount();
    int count = 0;
    const auto outbox = engine.dataFolder() / "Mail" / identifier / ".Outbox";
    for (const char* place : {"cur", "new"})
        (void)engine.files().forEachName(outbox / place,
                                         [&](const std::string&, bool isFolder) { count += !isFolder; });
    return count;
}

Result<void> removeAccount(MailEngine& engine, std::string_view identifier, MailOfAccount mail) {
    const std::string name(identifier);
    const AccountRecord* const record = engine.accounts().find(name);
    if (!record) return {};
    const bool isOurs = record->kind != AccountKind::Maildir;
    for (const DeliveryStatus& status : engine.deliveries().taken())
        if (status.account == name) return failure("AccountChanges", 1, whyItStays(*record, status));
    const AccountRemoval removal{name, isOurs && mail == MailOfAccount::Goes};
    AccountRemovals removals(engine.dataFolder(), engine.files());
    if (auto noted = removals.note(removal); !noted) return noted;
    if (auto removed = engine.accounts().remove(name); !removed) {
        (void)removals.settle(name);  // else the next start does, as the account is there
        return removed;
    }
    tellOfChange(engine, [removals, removal]() mutable { removals.carryOut(removal, true); });
    return {};
}

void finishRemovals(MailEngine& engine) {
    AccountRemovals removals(engine.dataFolder(), engine.files());
    for (const AccountRemoval& removal : removals.all()) {
        if (!engine.accounts().find(removal.identifier)) {
            RunLoop::main().postToGlobalQueue([removals, removal]() mutable { removals.carryOut(removal, false); });
        } else if (const auto settled = removals.settle(removal.identifier); !settled) {
            logWarning("an account that stayed is still noted as removed: " + settled.error().description);
        }
    }
}

}  // namespace qs
