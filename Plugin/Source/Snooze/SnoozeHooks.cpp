#include "Snooze/SnoozeHooks.h"

#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Snooze/QSSnoozeManager.h"

namespace qs {

void installSnoozeHooks(QSSession& session) {
    QSSnoozeManager::sharedManager();  // from now on messages wake
    session.lifecycleHooks().isSnoozeMailbox = QSSnoozeManager::isSnoozeMailbox;
    session.lifecycleHooks().snoozeOptionsMenu = [] { return QSSnoozeManager::sharedManager().snoozeOptionsMenu(); };
}

}  // namespace qs
