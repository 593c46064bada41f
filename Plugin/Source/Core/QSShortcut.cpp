#include "Core/QSShortcut.h"

#include "Models/Menu.h"

namespace qs {

std::string keyEquivalentFromShortcut(const Value& shortcut) {
    std::string key = shortcut["charactersIgnoringModifiers"].stringValue();
    if (key.empty()) key = shortcut["characters"].stringValue();
    // Shift is in the mask; an upper-case letter would ask for it twice.
    if (key.size() == 1 && key[0] >= 'A' && key[0] <= 'Z') key[0] = static_cast<char>(key[0] - 'A' + 'a');
    return key;
}

unsigned modifierMaskFromShortcut(const Value& shortcut) {
    constexpr unsigned kAll = kShiftKey | kControlKey | kOptionKey | kCommandKey;
    return static_cast<unsigned>(shortcut["modifierFlags"].integerValue()) & kAll;
}

}  // namespace qs
