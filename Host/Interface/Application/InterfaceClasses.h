// The classes of everything that this interface implements itself: models, windows, and the class that principal
// classes of bundles descend from. Accounts, messages, compose windows and the rest are defined by who implements them.
#pragma once

namespace qs {

// Into ClassRegistry::current(), by OS minor. What is defined already stays as it is.
void defineInterfaceClasses();

}  // namespace qs
