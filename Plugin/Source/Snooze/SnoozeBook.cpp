// The book of snoozed messages: its entries, and how they are kept in the settings.
#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Core/QSWorkingHours.h"
#include "Foundation/RunLoop.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Settings/UserDefaults.h"
#include "Snooze/QSSnoozeManager.h"
#include "Snooze/SnoozeMailboxes.h"

namespace qs {

namespace {

constexpr const char* kBookKey = "QSSnoozeMessages";
constexpr const char *kDateKey = "QSSnoozeDate", *kOriginKey = "QSSnoozeOriginalMailboxIdentifier",
                     *kMailboxKey = "QSSnoozeMailboxIdentifier";
constexpr const char* kChangedKey = "snoozedMessages";

// A second copy, in the store that a person's machines share. It is only ever written.
std::shared_ptr<UserDefaults> keyValueStore() { return UserDefaults::suite("com.tallowbay.Quillstead.shared"); }

}  // namespace

void QSSnoozeManager::loadSnoozeDatesFromDefaults() {
    willChangeValueForKey(kChangedKey);
    {
        const Value stored = QSPluginDelegate::quillsteadDefaults().objectForKey(kBookKey);
        const std::lock_guard hold(lock_);
        for (const auto& [messageID, entry] : stored.dictionary()) {
            const auto date = entry[kDateKey].dateValue();
            if (messageID.empty() || !date) continue;
            snoozedMessages_[messageID] = {*date, entry[kOriginKey].stringValue(), entry[kMailboxKey].stringValue()};
        }
    }
    didChangeValueForKey(kChangedKey);
}

void QSSnoozeManager::saveSnoozeDatesToDefaults() const {
    Dictionary book;
    {
        const std::lock_guard hold(lock_);
        for (const auto& [messageID, info] : snoozedMessages_)
            book[messageID] = Dictionary{{kDateKey, info.QSSnoozeDate},
                                         {kOriginKey, info.QSSnoozeOriginalMailboxIdentifier},
                                         {kMailboxKey, info.QSSnoozeMailboxIdentifier}};
    }
    const Value value(std::move(book));
    QSPluginDelegate::quillsteadDefaults().setObject(value, kBookKey);
    keyValueStore()->setObject(value, kBookKey);
}

void QSSnoozeManager::addSnoozeInfo(SnoozeInfo info, const std::string& forMessageID) {
    if (forMessageID.empty()) return;
    willChangeValueForKey(kChangedKey);
    {
        const std::lock_guard hold(lock_);
        snoozedMessages_[forMessageID] = std::move(info);
    }
    didChangeValueForKey(kChangedKey);
    saveSnoozeDatesToDefaults();
}

void QSSnoozeManager::removeSnoozeInfoForMessageID(const std::string& messageID) {
    const auto message = snoozedMessageWithMessageID(messageID);
    if (!message) return;
    willChangeValueForKey(kChangedKey);
    {
        const std::lock_guard hold(lock_);
        snoozedMessages_.erase(messageID);
    }
    didChangeValueForKey(kChangedKey);
    saveSnoozeDatesToDefaults();
    const auto account = message->account();
    const auto snooze = account ? snoozeMailboxForAccount(*account, false) : nullptr;
    NotificationCenter::defaultCenter().post(MailboxDisplayCountDidChangeNotification, snooze.get());
}

std::optional<SnoozeInfo> QSSnoozeManager::infoFor(std::string_view messageID) const {
    const std::lock_guard hold(lock_);
    const auto found = snoozedMessages_.find(messageID);
    return found == snoozedMessages_.end() || messageID.empty() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> QSSnoozeManager::dueIDs(Date now) const {
    const std::lock_guard hold(lock_);
    std::vector<std::string> ids;
    for (const auto& [messageID, info] : snoozedMessages_)
        if (info.QSSnoozeDate < now) ids.push_back(messageID);
    return ids;
}

std::optional<Date> QSSnoozeManager::snoozeDateForMessageID(std::string_view messageID) const {
    const auto info = infoFor(messageID);
    return info ? std::optional(info->QSSnoozeDate) : std::nullopt;
}

bool QSSnoozeManager::isSnoozedMessageWithMessageID(std::string_view messageID) const {
    return infoFor(messageID).has_value();
}

bool QSSnoozeManager::isItTimeToWakeUpForMessageID(std::string_view messageID) const {
    const auto date = snoozeDateForMessageID(messageID);
    return date && *date < RunLoop::main().now();
}

int QSSnoozeManager::snoozedCountForMailbox(const Mailbox& mailbox) const {
    const std::string identifier = persistentIdentifierOf(mailbox);
    const std::lock_guard hold(lock_);
    return static_cast<int>(std::ranges::count_if(
        snoozedMessages_, [&](const auto& entry) { return entry.second.QSSnoozeMailboxIdentifier == identifier; }));
}

SnoozeDate QSSnoozeManager::snoozeDateForMode(std::int64_t mode) const {
    const UserDefaults& settings = QSPluginDelegate::quillsteadDefaults();
    return snoozeDate(mode, RunLoop::main().now(),
                      {.workingHours = workingHoursOfSettings(),
                       .shiftIntoWorkingHours = settings.boolForKey("QSSnoozeDateInWorkingHours"),
                       .defaultMode = settings.integerForKey("QSSnoozeModeDefaultMode"),
                       .customDate = settings.objectForKey("QSSnoozeLastCustomDate").dateValue()});
}

}  // namespace qs
