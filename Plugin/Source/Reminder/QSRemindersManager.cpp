// The manager's questions to the store, and what is set for mail accounts.
#include "Reminder/QSRemindersManager.h"

#include <set>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/SetAsideRecords.h"
#include "Core/StoreFetch.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Reminder/QSReminderConverter.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

using List = QSRemindersManager::List;
using Lists = QSRemindersManager::Lists;
using Reminder = QSRemindersManager::Reminder;
using Reminders = QSRemindersManager::Reminders;
using MaybeText = QSRemindersManager::MaybeText;

std::string defaultListKey(std::string_view accountIdentifier) {
    return stringWithFormat("QSQuillstead_DefaultReminderList_%@", {accountIdentifier});
}

}  // namespace

QSRemindersManager& QSRemindersManager::sharedManager() { return QSSession::current().part<QSRemindersManager>(); }

bool QSRemindersManager::hasReminderService() const {
    return !QSServicesManager::sharedManager().servicesOfUtilityType(kTasksUtility, true).empty();
}

Lists QSRemindersManager::allLists() const {
    return fetched<QSReminderList>(
        {}, {{QSReminderList::kServiceIdentifier.name(), true, {}}, byStandardOrder(QSReminderList::kName.name())});
}

List QSRemindersManager::addListWithIdentifier(const MaybeText& identifier, const MaybeText& serviceIdentifier) {
    if (!identifier) {
        logError("Cannot create a reminder list without a unique identifier!");
        return nullptr;
    }
    if (!serviceIdentifier) {
        logError("Cannot create a reminder list without a connected service identifier!");
        return nullptr;
    }
    if (auto known = listWithIdentifier(*identifier)) return known;
    willChangeValueForKey("allLists");
    const auto made = storeContext().insertNew<QSReminderList>();
    made->setUniqueIdentifier(*identifier);
    made->setServiceIdentifier(*serviceIdentifier);
    didChangeValueForKey("allLists");
    return made;
}

List QSRemindersManager::listWithIdentifier(const std::string& identifier) const {
    return firstFetched<QSReminderList>(QSReminderList::kUniqueIdentifier.is(identifier));
}

Lists QSRemindersManager::listsWithServiceIdentifier(const std::string& serviceIdentifier) const {
    return fetched<QSReminderList>(QSReminderList::kServiceIdentifier.is(serviceIdentifier),
                                   {byStandardOrder(QSReminderList::kName.name())});
}

Lists QSRemindersManager::defaultListsWithServiceIdentifier(const std::string& serviceIdentifier) const {
    Lists lists;
    for (const auto& account : MailAccount::mailAccounts())
        if (auto list = defaultListForAccountIdentifier(account->identifier());
            list && list->serviceIdentifier() == serviceIdentifier)
            lists.push_back(std::move(list));
    return lists;
}

void QSRemindersManager::changeAllLists(const std::function<void()>& change) {
    willChangeValueForKey("allLists");
    change();
    didChangeValueForKey("allLists");
}

void QSRemindersManager::deleteLists(const Lists& lists) {
    for (const List& list : lists)
        storeContext().deleteObject(*list);
}

void QSRemindersManager::setDefaultList(const List& list, const std::string& forAccountIdentifier) {
    QSPluginDelegate::quillsteadDefaults().setObject(list->uniqueIdentifier().value_or(""),
                                                     defaultListKey(forAccountIdentifier));
}

List QSRemindersManager::defaultListForAccountIdentifier(const std::string& identifier) const {
    const std::string list = QSPluginDelegate::quillsteadDefaults().stringForKey(defaultListKey(identifier));
    return list.empty() ? nullptr : listWithIdentifier(list);
}

void QSRemindersManager::setDefaultFallbackList(const List& list) {
    for (const auto& account : MailAccount::mailAccounts()) {
        const std::string identifier = account->identifier();
        if (!identifier.empty() && !defaultListForAccountIdentifier(identifier)) setDefaultList(list, identifier);
    }
}

Reminder QSRemindersManager::addReminderWithIdentifier(const MaybeText& identifier,
                                                       const MaybeText& serviceIdentifier) {
    if (!identifier) {
        logError("Cannot create a reminder without a unique identifier!");
        return nullptr;
    }
    if (!serviceIdentifier) {
        logError("Cannot create a reminder without a connected service identifier!");
        return nullptr;
    }
    if (auto known = reminderWithIdentifier(identifier)) return known;
    const auto made = storeContext().insertNew<QSReminder>();
    made->setUniqueIdentifier(*identifier);
    made->setServiceIdentifier(*serviceIdentifier);
    return made;
}

void QSRemindersManager::deleteReminder(const Reminder& reminder) {
    const auto service =
        QSServicesManager::sharedManager().serviceWithIdentifier(reminder->serviceIdentifier().value_or(""));
    if (auto* slave = reminderSlaveOf(service)) slave->deleteReminder(reminder);
    storeContext().deleteObject(*reminder);
}

void QSRemindersManager::deleteReminders(const Reminders& reminders) {
    for (const Reminder& reminder : reminders)
        deleteReminder(reminder);
}

void QSRemindersManager::deleteReminders(const Reminders& reminders, std::string_view forReason) {
    RecoveryFolder recovery = recoveredRecords();
    for (const Reminder& reminder : reminders) {
        if (const auto kept = recovery.keep(*reminder, forReason, RunLoop::main().now()); !kept) {
            logError("A reminder can't be set aside, so it is not deleted: " + kept.error().description);
            continue;
        }
        deleteReminder(reminder);
    }
}

Reminder QSRemindersManager::reminderWithIdentifier(const MaybeText& identifier) const {
    return identifier ? firstFetched<QSReminder>(QSReminder::kUniqueIdentifier.is(*identifier)) : nullptr;
}

Reminders QSRemindersManager::remindersForMessageID(const MaybeText& messageID) const {
    return messageID ? fetched<QSReminder>(QSReminder::kMessageID.is(*messageID)) : Reminders();
}

Reminders QSRemindersManager::remindersForMessageID(const MaybeText& messageID, std::int64_t ofType) const {
    if (!messageID) return {};
    return fetched<QSReminder>(QSReminder::kMessageID.is(*messageID) && QSReminder::kType.is(ofType));
}

Reminders QSRemindersManager::remindersForMessageIDs(const std::vector<std::string>& messageIDs) const {
    return messageIDs.empty() ? Reminders() : fetched<QSReminder>(QSReminder::kMessageID.isOneOf(messageIDs));
}

Reminders QSRemindersManager::remindersForMessageIDs(const std::vector<std::string>& messageIDs,
                                                     std::int64_t ofType) const {
    constexpr std::size_t kMany = 1000;
    if (messageIDs.empty()) return {};
    if (messageIDs.size() <= kMany)
        return fetched<QSReminder>(QSReminder::kMessageID.isOneOf(messageIDs) && QSReminder::kType.is(ofType));
    // People have fewer reminders than messages.
    const std::set<std::string_view> wanted(messageIDs.begin(), messageIDs.end());
    Reminders found = fetched<QSReminder>(QSReminder::kType.is(ofType));
    std::erase_if(found, [&](const Reminder& each) { return !wanted.contains(each->messageID().value_or("")); });
    return found;
}

Reminders QSRemindersManager::pendingReminders() const { return fetched<QSReminder>(QSReminder::kIsRemote.is(false)); }

Reminders QSRemindersManager::pendingRemindersForMessageID(const std::string& messageID) const {
    return fetched<QSReminder>(QSReminder::kMessageID.is(messageID) && QSReminder::kIsRemote.is(false));
}

// Those with a change are in memory, as the store knows nothing of it.
Reminders QSRemindersManager::dirtyReminders() const {
    Reminders dirty = fetched<QSReminder>(QSReminder::kIsRemote.is(true));
    std::erase_if(dirty, [](const Reminder& reminder) { return !reminder->dirty(); });
    return dirty;
}

void QSRemindersManager::remindersDidChange() {
    auto& delegate = QSPluginDelegate::sharedDelegate();
    delegate.refreshMessageList();
    NotificationCenter::defaultCenter().post(QSBannerViewInfoDidChangeNotification);
    delegate.saveCoreData();
}

}  // namespace qs
