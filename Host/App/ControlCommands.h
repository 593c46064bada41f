// The commands of the control socket, without the socket.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace qs {

class HostServer;
class MailApplication;
class RunLoop;

struct ControlledHost {
    RunLoop& loop;
    HostServer& server;
    MailApplication& application;
    std::shared_ptr<void>& clockHold;  // null with a real clock; let go while a virtual one moves
    std::function<void()> stop;
};

// Answers as ControlSocket.h says. Main thread.
std::string answerControlCommand(std::string_view command, const ControlledHost& host);

}  // namespace qs
