#include "Reminder/QSReminderConverter.h"

#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"

namespace qs {

const QSSlaveClass* QSReminderConverter::classForServiceType(std::int32_t type) {
    return QSServicesManager::sharedManager().slaveClasses().classForServiceType(kTasksUtility, type);
}

bool QSReminderConverter::respondsTo(QSSlaveOperation operation) const {
    return operation == QSSlaveOperation::AuthDelegate || operation == QSSlaveOperation::SetAuthDelegate;
}

QSReminderServiceSlaveProtocol* reminderSlaveOf(const std::shared_ptr<QSService>& service) {
    if (!service || !service->hasSlaveClass()) return nullptr;
    return dynamic_cast<QSReminderServiceSlaveProtocol*>(&service->slave());
}

}  // namespace qs
