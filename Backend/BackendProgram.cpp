#include "BackendProgram.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <utility>

#include "Accounts/AccountRules.h"
#include "Accounts/PasswordHasher.h"
#include "BackendServer.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Process/EndOfInput.h"
#include "Process/StopSignals.h"
#include "Store/AccountTables.h"
#include "Store/SqlPool.h"
#include "Text/Digests.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPortFile = "port";  // in a demo's folder
constexpr int kTriesForPort = 20;
constexpr unsigned kBetweenTries = 100'000;  // microseconds

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
    for (const auto& [address, inbox] : options.inboxes)
        configuration.mailFolders[normalisedAddress(address)] = fs::absolute(inbox);
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
    // The demo's last backend may be about to stop.
    for (int tries = 0; tries < kTriesForPort && !server && server.error().code == EADDRINUSE; ++tries) {
        ::usleep(kBetweenTries);
        server = BackendServer::start(configuration, files, serverOptions);
    }
    if (!server && server.error().code == EADDRINUSE && !options.port) {
        configuration.port = 0;
        server = BackendServer::start(configuration, files, serverOptions);
    }
    if (!server) return server;
    if (auto kept = files.replace(options.demoFolder / kPortFile, std::to_string((*server)->port())); !kept)
        return failed(kept);
    return server;
}

// As if its owner had signed up and confirmed the address.
Result<void> makeAccount(const std::string& address, const BackendConfiguration& configuration) {
    const std::string email = normalisedAddress(address);
    std::string password;
    std::getline(std::cin, password);
    for (const std::string& fault : {faultOfAddress(email), faultOfPassword(password)})
        if (!fault.empty()) return failure("BackendProgram", 1, fault);
    const Date now = RunLoop::main().now();
    try {
        SqlPool pool([&] { return SqlConnection::openSqlite(configuration.databaseFile); }, 1);
        if (pool.transaction([&](SqlConnection& database) { return accountWithEmail(database, email).has_value(); }))
            return {};
        const std::string hash = PasswordHasher(PasswordHasher::Cost::Usual).hash(password);
        pool.transaction([&](SqlConnection& database) {
            const std::string token = hexadecimal(randomDataWithBytes(32));
            addSignUp(database, token, email, hash, now);
            confirmSignUp(database, token, now - kSignUpLife, now);
        });
    } catch (const SqlFailure& fault) {
        return failure("BackendProgram", 2, std::string("The database can't be used: ") + fault.what());
    }
    return {};
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
    if (!options.account.empty())
        if (auto made = makeAccount(options.account, *configuration); !made) {
            std::fprintf(stderr, "%s\n", made.error().description.c_str());
            return 2;
        }
    auto server = startServer(options, *configuration, shippedFolder, files);
    if (!server) {
        std::fprintf(stderr, "%s\n", server.error().description.c_str());
        return 1;
    }
    bool isStopping = false;
    const auto stop = [&] {
        if (!std::exchange(isStopping, true)) (*server)->stop([&] { loop->stop(); });
    };
    const auto signals = StopSignals::make(stop);
    const auto endOfInput = options.untilInputEnds ? EndOfInput::make(stop) : nullptr;
    std::printf("Quillstead's backend listens on port %d, for %s\n", (*server)->port(), (*server)->baseUrl().c_str());
    std::fflush(stdout);
    loop->run();
    server->reset();
    return 0;
}

}  // namespace qs
