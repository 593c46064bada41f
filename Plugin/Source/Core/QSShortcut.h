// A stored key combination (dictionary with "charactersIgnoringModifiers" or "characters", and "modifierFlags") as what
// a menu item takes: a key equivalent and a modifier mask.
#pragma once

#include <string>

#include "Foundation/Value.h"

namespace qs {

std::string keyEquivalentFromShortcut(const Value& shortcut);  // empty when nothing is stored
unsigned modifierMaskFromShortcut(const Value& shortcut);      // bits of KeyModifier; 0 when nothing is stored

}  // namespace qs
