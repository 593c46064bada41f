// Ties read tracking to the plug-in's lifecycle and to the road of messages.
#pragma once

namespace qs {

class QSSession;

void installTrackingHooks(QSSession& session);

}  // namespace qs
