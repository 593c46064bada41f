#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "BackendProgram.h"
#include "Configuration.h"
#include "Process/PrivateMemory.h"

extern const char quillsteadFoundationVersion[];

int main(int count, char** arguments) {
    ::umask(S_IRWXG | S_IRWXO);
    qs::keepMemoryPrivate();
    std::signal(SIGPIPE, SIG_IGN);
    const auto options = qs::parseBackendOptions(std::vector<std::string>(arguments + 1, arguments + count));
    if (!options) {
        std::fprintf(stderr, "%s\nTry --help.\n", options.error().description.c_str());
        return 2;
    }
    if (options->help) return std::fputs(qs::backendHelp().c_str(), stdout) < 0;
    if (options->exampleConfig) return std::fputs(qs::exampleBackendConfiguration().c_str(), stdout) < 0;
    if (options->version) return std::printf("Quillstead backend %s\n", quillsteadFoundationVersion) < 0;
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    try {
        return qs::runBackend(*options, program.parent_path().parent_path() / "Backend");
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "Quillstead's backend had to stop: %s\n", fault.what());
        return 1;
    }
}
