#include "Demo/DemoBackend.h"

#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "HostSettings.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Process/CompanionProcess.h"
#include "Settings/UserDefaults.h"

namespace qs {
namespace {

// What the plug-in reads at its start.
constexpr const char* kSuite = "com.tallowbay.Quillstead";
constexpr const char* kAddressKey = "QSBackendURL";
constexpr const char* kUserKey = "QSQuillsteadUserKey";
constexpr const char* kKeychainLabel = "Quillstead";

constexpr const char* kEmail = "mira@quillstead.example";
constexpr const char* kPassword = "almanac-demo";  // no secret: the README tells it
constexpr TimeInterval kLongestStart = 15;

}  // namespace

DemoBackend::DemoBackend(std::filesystem::path dataFolder, std::filesystem::path program)
    : dataFolder_(std::move(dataFolder)), program_(std::move(program)) {}

DemoBackend::~DemoBackend() = default;

Result<void> DemoBackend::start() {
    if (!UserDefaults::suite(kSuite)->stringForKey(kAddressKey).empty()) return {};
    const auto mail = dataFolder_ / "Mail";
    auto started =
        CompanionProcess::start(program_,
                                {"--demo", (dataFolder_ / "Backend").string(), "--account", kEmail, "--inbox",
                                 std::string(kEmail) + "=" + (mail / "mira").string(), "--inbox",
                                 "tobias@quillstead.example=" + (mail / "tobias").string(), "--until-input-ends"},
                                std::string(kPassword) + "\n");
    if (!started) return failed(started);
    process_ = std::move(*started);
    return {};
}

Result<void> DemoBackend::introduce() {
    if (!process_) return {};
    const auto line = process_->readLine(kLongestStart);
    if (!line) return failed(line);
    const auto settings = UserDefaults::suite(kSuite);
    // Not set: a value of the person's own counts, and the port may be another one the next time.
    const std::string address = line->substr(line->rfind(' ') + 1);
    settings->registerDefaults({{kAddressKey, address}});
    // Its pixels are the only pictures that displayed mail may fetch from this machine.
    if (const auto scheme = address.find("://"); scheme != std::string::npos)
        UserDefaults::suite("")->registerDefaults(
            {{std::string(kLocalPictureServers), Array{address.substr(scheme + 3)}}});
    if (settings->objectForKey(kUserKey).isNil()) signIn();
    return {};
}

void DemoBackend::signIn() const {
    const auto& keychain = Platform::current().keychain;
    const auto kept = keychain->write(KeychainName::label(kKeychainLabel, kEmail), kPassword);
    if (!kept) return logWarning("The demo's person can't be signed in: " + kept.error().description);
    UserDefaults::suite(kSuite)->setObject(Data{xmlPropertyList(Dictionary{{"email", kEmail}})}, kUserKey);
}

}  // namespace qs
