// How other processes of the user talk to the running program: a socket <data>/control.sock, one line in, one line out.
//
//   link            "link <address>": a fresh start link
//   open <url>      "done", or "link <address>" when no page is there to show what was opened
//   quit            "done"; the program ends
//   advance <s>     "done" when the virtual clock has moved on; only with --virtual-clock
//
// What can't be done is answered with "error <sentence>". Only processes of the same user are listened to.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class ControlSocket {
public:
    // Takes the socket's place; who connects now waits until serve(). Needs the folder's lock (InstanceLock): a socket
    // that lies there is then left over and removed. Main thread.
    static Result<std::unique_ptr<ControlSocket>> listen(const std::filesystem::path& dataFolder);
    virtual ~ControlSocket() = default;  // closes it and removes the file
    // Begins to answer: the handler gets the command without its line end and gives the answer. Main thread.
    virtual void serve(std::function<std::string(const std::string& command)> handler) = 0;
};

// Asks the program that runs on that data folder. Blocks, at most about 30 s: one that is just starting answers when it
// stands. An "error" answer is a failure with its sentence.
Result<std::string> askRunningHost(const std::filesystem::path& dataFolder, std::string_view command);

}  // namespace qs
