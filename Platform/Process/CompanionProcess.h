// A program that runs beside this one and ends with it: its standard input is a pipe that comes to its end when this
// process does, however that comes, and the program is to stop then. Never through a shell: arguments arrive as they
// are.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class CompanionProcess {
public:
    // `input` is what it finds on its standard input first; a few lines. It leads a process group of its own, so that
    // Ctrl-C in a terminal is not its business.
    static Result<std::unique_ptr<CompanionProcess>>
    start(const std::filesystem::path& program, const std::vector<std::string>& arguments, std::string_view input = {});
    // Ends its input and waits until it has stopped; one that takes more than some seconds is killed.
    virtual ~CompanionProcess() = default;

    // The next line that it prints, without its end. Blocking. Fails when it ended, or said nothing for so many seconds
    // of real time.
    virtual Result<std::string> readLine(TimeInterval longest) = 0;
    virtual int processIdentifier() const = 0;
};

}  // namespace qs
