// Ties reminders to sending, delivery and the arrival of mail.
#pragma once

namespace qs {

class QSSession;

// After those of the tracking: what hears of answers already goes on hearing of them.
void installReminderHooks(QSSession& session);

}  // namespace qs
