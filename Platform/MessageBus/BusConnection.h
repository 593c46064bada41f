// Connections to the desktop's message buses (D-Bus), made so that nobody waits long for one that hangs: a bus may take
// a connection and never say a word on it, and the libraries then wait for a minute and a half, or for ever.
#pragma once

#include <memory>

namespace sdbus {
class IConnection;
}

namespace qs {

// From every thread. They throw sdbus::Error when there is no such bus, and when it has not answered after two seconds.
// While an earlier question is still open, a silent bus counts as silent at once: a start that needs it in five places
// waits for it once. Calls on the connection wait two seconds at most, unless they say otherwise.
std::unique_ptr<sdbus::IConnection> connectToSessionBus();
std::unique_ptr<sdbus::IConnection> connectToSystemBus();

// For those who reach the session bus by another library. False too when there is none, which that library finds out.
bool isSessionBusSilent();

}  // namespace qs
