#include "BackendProgram.h"

#include <cerrno>
#include <charconv>
#include <cstdio>

#include "BackendServer.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Process/StopSignals.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPortFile = "port";  // in a demo's folder

Result<BackendConfiguration> configurationFor(const BackendOptions& options, const fs::path& shippedFolder,
                                              FileSystem& files) {
    if (options.demoFolder.empty()) {
        const auto text = files.read(options.configFile);
        if (!text) return failed(text);
        return parseBackendConfiguration(*text, fs::absolute(options.configFile).parent_path());
    }
    const fs::path folder = fs::absolute(options.demoFolder);
    if (auto made = files.makeFolder(folder); !made) return failed(made);
    BackendConfiguration configuration = demoBackendConfiguration(folder);
    if (files.exists(shippedFolder / "templates")) configuration.templateFolder = shippedFolder / "templates";
    // Mail that was sent from the demo before holds the port.
    if (const auto text = files.read(folder / kPortFile))
        std::from_chars(text->data(), text->data() + text->size(), configuration.port);
    return configuration;
}

Result<std::unique_ptr<BackendServer>> startServer(const BackendOptions& options, BackendConfiguration configuration,
                                                   const fs::path& shippedFolder, FileSystem& files) {
    const BackendServer::Options serverOptions{.imageDecoder =
                                                   shippedFolder.parent_path() / "bin/quillstead-image-decoder"};
    if (options.port) configuration.port = *options.port;
    auto server = BackendServer::start(configuration, files, serverOptions);
    if (options.demoFolder.empty()) return server;
    if (!server && server.error().code == EADDRINUSE && !options.port) {
        configuration.port = 0;
        server = BackendServer::start(configuration, files, serverOptions);
    }
    if (!server) return server;
    if (auto kept = files.replace(options.demoFolder / kPortFile, std::to_string((*server)->port())); !kept)
        return failed(kept);
    return server;
}

}  // namespace

int runBackend(const BackendOptions& options, const fs::path& shippedFolder) {
    FileSystem& files = FileSystem::real();
    const auto terminal = DDTTYLogger::sharedInstance();
    terminal->setMostDetailed(options.verbose ? LogLevel::Debug : LogLevel::Warning);
    DDLog::addLogger(terminal);
    const auto configuration = configurationFor(options, shippedFolder, files);
    if (!configuration) {
        std::fprintf(stderr, "%s\n", configuration.error().description.c_str());
        return 2;
    }
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    auto server = startServer(options, *configuration, shippedFolder, files);
    if (!server) {
        std::fprintf(stderr, "%s\n", server.error().description.c_str());
        return 1;
    }
    const auto signals = StopSignals::make([&] { (*server)->stop([&] { loop->stop(); }); });
    std::printf("Quillstead's backend listens on port %d, for %s\n", (*server)->port(), (*server)->baseUrl().c_str());
    std::fflush(stdout);
    loop->run();
    server->reset();
    return 0;
}

}  // namespace qs
