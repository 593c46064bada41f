// For programs that hold mail and passwords in memory.
#pragma once

namespace qs {

// No core file of this process holds them, and no other process of the user reads them there. At the start of main().
void keepMemoryPrivate();

}  // namespace qs
