// Ties snoozing to the plug-in's lifecycle.
#pragma once

namespace qs {

class QSSession;

void installSnoozeHooks(QSSession& session);

}  // namespace qs
