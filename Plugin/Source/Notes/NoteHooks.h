// Ties notes to the plug-in's lifecycle and to what is set for each mail account.
#pragma once

namespace qs {

class QSSession;

void installNoteHooks(QSSession& session);

}  // namespace qs
