#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "HostOptions.h"
#include "HostProgram.h"
#include "Process/PrivateMemory.h"

extern const char quillsteadFoundationVersion[];

namespace {

std::filesystem::path programFolder(const char* name) {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) path = std::filesystem::absolute(name, error);
    return path.parent_path();
}

}  // namespace

int main(int count, char** arguments) {
    ::umask(S_IRWXG | S_IRWXO);
    qs::keepMemoryPrivate();
    std::signal(SIGPIPE, SIG_IGN);
    const auto options = qs::parseHostOptions(std::vector<std::string>(arguments + 1, arguments + count));
    if (!options) {
        std::fprintf(stderr, "%s\nTry --help.\n", options.error().description.c_str());
        return 2;
    }
    if (options->help) {
        std::fputs(qs::hostHelp().c_str(), stdout);
        return 0;
    }
    if (options->version) {
        std::printf("Quillstead %s\n", quillsteadFoundationVersion);
        return 0;
    }
    try {
        return qs::runHost(*options, programFolder(arguments[0]));
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "Quillstead had to stop: %s\n", fault.what());
        return 1;
    }
}
