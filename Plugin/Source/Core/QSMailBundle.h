// The principal class of the bundle: what the host asks of a plug-in, and the entry that starts everything.
#pragma once

#include "Foundation/Runtime.h"

namespace qs {

class QSMailBundle {
public:
    // Defines the class for the installed registry.
    static Class& defineClass();
    // The entry. Runs once for each loaded session, however often it is called.
    static void initialize();
};

}  // namespace qs
