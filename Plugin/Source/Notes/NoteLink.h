// Opening a note where its service keeps it. The address came from the service over the web: it opens a page, or the
// program of which that service's worker says that it has one, and nothing else. Main thread.
#pragma once

#include "Foundation/Result.h"

namespace qs {

class QSNote;

// Does nothing for a note without an address.
Result<void> openNoteAtService(const QSNote& note);

}  // namespace qs
