// The ground for tests of what speaks to the backend: a plug-in with a scripted one, a vault for passwords, and a
// network that can be taken away.
#pragma once

#include <map>

#include "Account/QSQuillsteadUser.h"
#include "Http/HttpClient.h"
#include "Keychain/Keychain.h"
#include "PluginTest.h"
#include "Reachability/NetworkState.h"
#include "Support/ScriptedWebServer.h"
#include "Support/TemporaryFolder.h"
#include "Text/Base64.h"

namespace qs {

class BackendTest : public PluginTest {
protected:
    BackendTest() {
        preparePlatform_ = [this](Platform& platform) {
            platform.keychain = Keychain::vault({folder_.path() / "Keychain", {}, nullptr});
            platform.network = network_;
            platform.http = HttpClient::make({.userAgent = "Test", .certificates = {}});
        };
    }
    void startWithBackend(TemporaryHostOptions options = {}) {
        startHost(std::move(options));
        defaults().setObject(backend_.url(""), "QSBackendURL");
    }
    // Signed in, without having asked for the profile.
    void signIn() {
        auto& user = QSQuillsteadUser::me();
        user.email = "ada@example.org";
        user.password = "s3cret!";
        user.savePasswordInKeychain();
        user.save();
    }
    static std::string basic() { return "Basic " + base64EncodedString("ada@example.org:s3cret!"); }
    // "GET /api/v1/profile", in order.
    std::vector<std::string> asked() const {
        std::vector<std::string> lines;
        for (const WebRequest& request : backend_.requests())
            lines.push_back(request.method + " " + request.path);
        return lines;
    }
    std::size_t count(std::string_view line) const {
        const auto lines = asked();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
    }

    TemporaryFolder folder_;
    std::shared_ptr<NetworkState::Fixed> network_ = NetworkState::fixed(true);
    std::map<std::string, WebAnswer> answers_;  // by path; 404 for others
    ScriptedWebServer backend_{[this](const WebRequest& request) {
        const auto found = answers_.find(request.path);
        return found == answers_.end() ? WebAnswer{.status = 404, .body = R"({"error": "unknown"})"} : found->second;
    }};
};

}  // namespace qs
