// The list of outside services: kept in the settings, with the built-in ones always in it; and what is set for each
// mail account: default notebook, default list of reminders, automatic blind copies.
//
// Main thread. Changes of the list are told by the key "services", those of the mail accounts by "mailAccountSettings".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "Foundation/Value.h"
#include "Services/SlaveClasses.h"

namespace qs {

class ManagedObject;
class QSService;
using QSServiceRef = std::shared_ptr<QSService>;

struct QSMailAccountSettings {
    std::string name, icon, identifier;  // the icon: a picture's name for models
    std::optional<std::string> deliveryIdentifier;
    std::shared_ptr<ManagedObject> defaultNotebook, defaultReminderList;  // null where there is none
    std::optional<Array> automaticBCC;                                    // addresses
};

// A choice for each mail account that another part of the plug-in keeps; empty while that part is not there.
struct QSAccountChoice {
    // Null when no such service is linked, or nothing is chosen.
    std::function<std::shared_ptr<ManagedObject>(const std::string& accountIdentifier)> get;
    std::function<void(const std::shared_ptr<ManagedObject>& chosen, const std::string& accountIdentifier)> set;
};

class QSServicesManager : public QSKeyValueChanges {
public:
    // The session's; made and loaded when first asked for.
    static QSServicesManager& sharedManager();
    ~QSServicesManager() override;

    const std::vector<QSServiceRef>& services() const { return services_; }
    // As they are shown: deletable ones first, then by utility, the highest first, then by name.
    std::vector<QSServiceRef> sortedServices() const;
    // Adds an unlinked one and saves the list.
    QSServiceRef addServiceOfType(std::int32_t type);
    // Takes it out of the list; the caller unlinks it before and saves afterwards.
    void removeService(const QSServiceRef& service);

    QSServiceRef serviceWithIdentifier(std::string_view identifier) const;  // null for none
    std::vector<QSServiceRef> linkedServices() const;
    std::vector<QSServiceRef> servicesOfUtilityType(std::uint64_t utilityType, bool linkedOnly) const;
    std::vector<QSServiceRef> servicesOfServiceType(std::int32_t type, bool linkedOnly) const;

    // Of each linked one whose worker can, in the order of the list.
    void syncLinkedServices();
    // Unlinks, then lets the worker sign out.
    void unlinkService(const QSServiceRef& service);
    // When the plug-in is taken away: each worker signs out, then the service is unlinked. Nothing is saved any more.
    void unlinkAllServices();

    // One entry for each active mail account that has a name and an identifier. Built once, and again when the number
    // of active accounts has changed.
    std::vector<QSMailAccountSettings>& mailAccountSettings();
    void changedMailAccountSettings();  // tells of a change, no more
    QSAccountChoice defaultNotebook, defaultReminderList;

    void saveToPreferences();

    std::optional<Array> automaticBCCForDeliveryAccountIdentifier(std::string_view identifier) const;
    void setAutomaticBCC(const std::optional<Array>& addresses, std::string_view forDeliveryAccountIdentifier);
    Array automaticBCCForAllDeliveryAccounts();

    QSSlaveClasses& slaveClasses() { return slaveClasses_; }

private:
    void init();
    void load(const Value& stored);
    void append(QSServiceRef service);
    void keepDamaged(const Value& stored, std::string_view why);
    void saveSoon();

    std::vector<QSServiceRef> services_;
    std::vector<ObservationRef> linkObservations_;  // beside services_
    std::optional<std::vector<QSMailAccountSettings>> mailAccountSettings_;
    std::size_t activeAccounts_ = 0;
    QSSlaveClasses slaveClasses_;
    bool isMade_ = false, isKept_ = true, willSave_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
