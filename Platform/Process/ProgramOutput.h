// Runs another program to its end and takes what it prints. Never through a shell: arguments arrive as they are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

inline constexpr std::string_view kProgramErrorDomain = "ProgramOutput";
enum class ProgramError { NotStarted = 1, OutOfBounds, Failed };  // codes of its errors

struct ProgramOptions {
    std::string_view input;  // empty: the program reads nothing
    bool inheritsEnvironment = true;
    TimeInterval longest = 30;  // seconds of real time
    std::size_t mostOutput = 64 * 1024;
};

// Blocking; not from the main thread. The command's first word is a path or found on the user's PATH. A program that
// takes longer or prints more than it may is ended, with all that it started; so is one that closes its output and goes
// on. Its error output is left to ours.
Result<std::string> outputOfProgram(const std::vector<std::string>& command, const ProgramOptions& options = {});

}  // namespace qs
