#include "Services/QSServicesManager.h"

#include <algorithm>
#include <tuple>

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Reminder/ReminderSettings.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/ServiceTypes.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr const char* kServicesList = "QSServicesList";
constexpr const char* kDamagedServicesList = "QSDamagedServicesList";
constexpr std::size_t kUsualNumber = 5;
constexpr int kHighestListedType = 22;

std::string keyOfBCC(std::string_view deliveryIdentifier) {
    return stringWithFormat("QSQuillstead_BCC_%@", {deliveryIdentifier});
}

}  // namespace

QSServicesManager& QSServicesManager::sharedManager() {
    auto& manager = QSSession::current().part<QSServicesManager>();
    if (!std::exchange(manager.isMade_, true)) manager.init();  // its services ask for it meanwhile
    return manager;
}

QSServicesManager::~QSServicesManager() = default;

void QSServicesManager::init() {
    services_.reserve(kUsualNumber);
    defaultReminderList = defaultReminderListChoice();
    willChangeValueForKey("services");
    load(QSPluginDelegate::quillsteadDefaults().objectForKey(kServicesList));
    for (int type = 0; type <= kHighestListedType; ++type) {
        if (QSService::isDeletableServiceType(type) || !servicesOfServiceType(type, false).empty()) continue;
        append(QSService::initWithServiceType(type));
        services_.back()->markAsLinked(true);
    }
    for (const QSServiceRef& service : std::vector(services_)) {
        if (service->uniqueIdentifier()) continue;
        logError(stringWithFormat("Removing service '%@' without valid identifier!", {service->description()}));
        removeService(service);
    }
    didChangeValueForKey("services");
    saveToPreferences();
}

void QSServicesManager::load(const Value& stored) {
    if (stored.isNil()) return;
    const auto archive = parsePropertyList(stored.dataValue().bytes);
    if (!archive || archive->type() != Value::Type::Array)
        return keepDamaged(stored, archive ? "It is no list." : archive.error().description);
    for (const Value& record : archive->array()) {
        try {
            append(QSService::initWithCoder(record));
        } catch (const AssertionFailure& fault) {
            // One bad record must not cost the others.
            keepDamaged(stored, fault.what());
        }
    }
}

// The list is written anew in a moment: what can't be read now must not be lost with that.
void QSServicesManager::keepDamaged(const Value& stored, std::string_view why) {
    logError("The list of services is damaged; a copy is kept in the settings. " + std::string(why));
    QSPluginDelegate::quillsteadDefaults().setObject(stored, kDamagedServicesList);
    if (const auto app = MailApp::shared())
        app->addNotice(QSLocalizedString("Quillstead's list of services was damaged. Please look at it in the "
                                         "preferences and link again what is missing."));
}

void QSServicesManager::append(QSServiceRef service) {
    // A link must outlast a crash.
    linkObservations_.push_back(service->addObserver("linked", [this](bool isPrior) {
        if (isPrior) return willChangeValueForKey("linkedServices");
        didChangeValueForKey("linkedServices");
        saveSoon();
    }));
    services_.push_back(std::move(service));
}

std::vector<QSServiceRef> QSServicesManager::sortedServices() const {
    std::vector<QSServiceRef> sorted = services_;
    std::ranges::stable_sort(sorted, {}, [](const QSServiceRef& service) {
        return std::tuple(!service->canBeDeleted(), ~service->utilityType(), service->name());
    });
    return sorted;
}

QSServiceRef QSServicesManager::addServiceOfType(std::int32_t type) {
    auto service = QSService::initWithServiceType(type);
    willChangeValueForKey("services");
    append(service);
    didChangeValueForKey("services");
    saveToPreferences();
    return service;
}

void QSServicesManager::removeService(const QSServiceRef& service) {
    const auto found = std::ranges::find(services_, service);
    if (found == services_.end()) return;
    willChangeValueForKey("services");
    linkObservations_.erase(linkObservations_.begin() + (found - services_.begin()));
    services_.erase(found);
    didChangeValueForKey("services");
}

QSServiceRef QSServicesManager::serviceWithIdentifier(std::string_view identifier) const {
    const auto found = std::ranges::find(services_, identifier, [](const QSServiceRef& service) {
        return std::string_view(service->uniqueIdentifier() ? *service->uniqueIdentifier() : std::string_view());
    });
    return found == services_.end() || identifier.empty() ? nullptr : *found;
}

std::vector<QSServiceRef> QSServicesManager::linkedServices() const {
    std::vector<QSServiceRef> found;
    std::ranges::copy_if(services_, std::back_inserter(found), [](const auto& service) { return service->linked(); });
    return found;
}

std::vector<QSServiceRef> QSServicesManager::servicesOfUtilityType(std::uint64_t utilityType, bool linkedOnly) const {
    std::vector<QSServiceRef> found;
    std::ranges::copy_if(services_, std::back_inserter(found), [&](const auto& service) {
        return service->utilityType() == utilityType && (service->linked() || !linkedOnly);
    });
    return found;
}

std::vector<QSServiceRef> QSServicesManager::servicesOfServiceType(std::int32_t type, bool linkedOnly) const {
    std::vector<QSServiceRef> found;
    std::ranges::copy_if(services_, std::back_inserter(found), [&](const auto& service) {
        return service->serviceType() == type && (service->linked() || !linkedOnly);
    });
    return found;
}

void QSServicesManager::syncLinkedServices() {
    for (const QSServiceRef& service : linkedServices())
        if (service->hasSlaveClass() && service->slave().respondsTo(QSSlaveOperation::Sync)) service->slave().sync();
}

void QSServicesManager::unlinkService(const QSServiceRef& service) {
    service->markAsLinked(false);
    if (service->hasSlaveClass() && service->slave().respondsTo(QSSlaveOperation::Deauthenticate))
        service->slave().deauthenticate();
}

void QSServicesManager::unlinkAllServices() {
    isKept_ = false;
    for (const QSServiceRef& service : linkedServices()) {
        if (service->hasSlaveClass() && service->slave().respondsTo(QSSlaveOperation::Deauthenticate))
            service->slave().deauthenticate();
        service->markAsLinked(false);
    }
}

// Each account of this host is active, has no picture of its own, and delivers its messages itself.
std::vector<QSMailAccountSettings>& QSServicesManager::mailAccountSettings() {
    const auto accounts = MailAccount::mailAccounts();
    if (mailAccountSettings_ && activeAccounts_ == accounts.size()) return *mailAccountSettings_;
    activeAccounts_ = accounts.size();
    auto& all = mailAccountSettings_.emplace();
    for (const auto& account : accounts) {
        const std::string identifier = account->identifier(), name = account->displayName();
        if (identifier.empty() || name.empty()) continue;
        QSMailAccountSettings entry{.name = name, .icon = "plugin:squareAccountIcon", .identifier = identifier};
        entry.deliveryIdentifier = identifier;
        entry.automaticBCC = automaticBCCForDeliveryAccountIdentifier(identifier);
        if (defaultNotebook.get) entry.defaultNotebook = defaultNotebook.get(identifier);
        if (defaultReminderList.get) entry.defaultReminderList = defaultReminderList.get(identifier);
        all.push_back(std::move(entry));
    }
    return all;
}

void QSServicesManager::changedMailAccountSettings() {
    willChangeValueForKey("mailAccountSettings");
    didChangeValueForKey("mailAccountSettings");
}

void QSServicesManager::saveToPreferences() {
    if (!isKept_) return;
    Array records;
    for (const QSServiceRef& service : services_)
        records.push_back(service->encoded());
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    defaults.setObject(Data{xmlPropertyList(records)}, kServicesList);
    if (const auto written = defaults.synchronize(); !written)
        logError("The list of services could not be saved: " + written.error().description);
}

void QSServicesManager::saveSoon() {
    if (std::exchange(willSave_, true)) return;
    RunLoop::main().post([this, alive = std::weak_ptr(alive_)] {
        if (alive.expired()) return;
        willSave_ = false;
        saveToPreferences();
    });
}

std::optional<Array> QSServicesManager::automaticBCCForDeliveryAccountIdentifier(std::string_view identifier) const {
    const Value stored = QSPluginDelegate::quillsteadDefaults().objectForKey(keyOfBCC(identifier));
    return stored.type() == Value::Type::Array ? std::optional(stored.array()) : std::nullopt;
}

void QSServicesManager::setAutomaticBCC(const std::optional<Array>& addresses,
                                        std::string_view forDeliveryAccountIdentifier) {
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    const std::string key = keyOfBCC(forDeliveryAccountIdentifier);
    if (!addresses || addresses->empty())
        defaults.removeObjectForKey(key);
    else
        defaults.setObject(*addresses, key);
}

Array QSServicesManager::automaticBCCForAllDeliveryAccounts() {
    Array all;
    for (const QSMailAccountSettings& account : mailAccountSettings()) {
        if (!account.deliveryIdentifier) continue;
        const auto addresses = automaticBCCForDeliveryAccountIdentifier(*account.deliveryIdentifier);
        if (addresses) all.insert(all.end(), addresses->begin(), addresses->end());
    }
    return all;
}

}  // namespace qs
