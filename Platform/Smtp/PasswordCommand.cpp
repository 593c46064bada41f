#include "Smtp/PasswordCommand.h"

#include "Foundation/Log.h"
#include "Process/ProgramOutput.h"

namespace qs {

namespace {

tl::unexpected<Error> commandFailed(const std::string& what) {
    return failure("PasswordCommand", 1, "The command for this account's password " + what);
}

}  // namespace

Result<std::string> runPasswordCommand(const std::vector<std::string>& command) {
    if (command.empty()) return std::string();
    auto output = outputOfProgram(command);
    if (!output) switch (static_cast<ProgramError>(output.error().code)) {
        case ProgramError::NotStarted: return commandFailed("can't be found: " + command[0] + ".");
        case ProgramError::OutOfBounds: return commandFailed("did not end within 30 seconds, or printed too much.");
        case ProgramError::Failed: return commandFailed("failed.");
        }
    std::string password = output->substr(0, output->find('\n'));
    if (!password.empty() && password.back() == '\r') password.pop_back();
    DDLog::maskSecret(password);
    return password;
}

}  // namespace qs
