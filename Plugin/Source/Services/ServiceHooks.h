// What the plug-in's lifecycle does with the services.
#pragma once

namespace qs {

class QSSession;

void installServiceHooks(QSSession& session);

}  // namespace qs
