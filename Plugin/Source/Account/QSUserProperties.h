// In which surroundings the plug-in works: figures about the person's mail, and facts about the machine. Nothing is
// stored; both are gathered anew each time. Main thread.
#pragma once

#include "Foundation/Value.h"

namespace qs {

class QSUserProperties {
public:
    Dictionary propertiesDictionary() const;
    Dictionary deviceDictionary() const;
};

}  // namespace qs
