#include "ControlCommands.h"

#include <charconv>

#include "Foundation/RunLoop.h"
#include "HostServer.h"
#include "MailApplication.h"

namespace qs {
namespace {

constexpr std::string_view kDone = "done";

std::string open(std::string_view url, const ControlledHost& host) {
    if (url.empty()) return "error There is no address to open.";
    // In a turn of its own, since what it leads to may wait for the person.
    host.loop.post([&application = host.application, url = std::string(url)] { application.openAddress(url); });
    return host.server.hasPages() ? std::string(kDone) : "link " + host.server.newStartLink();
}

std::string advance(std::string_view text, const ControlledHost& host) {
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size() || !(seconds >= 0))
        return "error That is no number of seconds.";
    if (!host.clockHold) return "error The clock is a real one.";
    host.clockHold.reset();
    host.loop.advance(seconds);
    host.clockHold = host.loop.holdTime();
    return std::string(kDone);
}

}  // namespace

std::string answerControlCommand(std::string_view command, const ControlledHost& host) {
    const auto space = command.find(' ');
    const auto word = command.substr(0, space);
    const auto rest = space == std::string_view::npos ? std::string_view() : command.substr(space + 1);
    if (word == "link" && rest.empty()) return "link " + host.server.newStartLink();
    if (word == "open") return open(rest, host);
    if (word == "quit" && rest.empty()) {
        host.stop();
        return std::string(kDone);
    }
    if (word == "advance") return advance(rest, host);
    return "error There is no such command.";
}

}  // namespace qs
