// Ties the account to the plug-in's lifecycle.
#pragma once

namespace qs {

class QSSession;

void installAccountHooks(QSSession& session);

}  // namespace qs
