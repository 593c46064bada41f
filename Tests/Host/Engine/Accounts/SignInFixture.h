// A provider where accounts sign in by the browser, a browser that a test plays, and a keychain that it can disturb.
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Accounts/BrowserSignIn.h"
#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Platform.h"
#include "Support/HookedKeychain.h"
#include "Support/LogCapture.h"
#include "Support/PrivatePageAddress.h"
#include "Support/RecordingWorkspace.h"
#include "Support/ScriptedWebServer.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestMachine.h"
#include "Text/Url.h"

namespace qs {

class BrowserSignInTest : public ::testing::Test {
protected:
    void SetUp() override {
        Platform platform;
        platform.processInfo = std::make_shared<TestMachine>(folder_.path());
        platform.workspace = workspace_;
        platform.http = HttpClient::make({});
        platform.keychain = keychain_;
        Platform::install(std::move(platform));
        place_ = {.authorizePage = provider_.url("/authorize?brand=quill"),
                  .tokenAddress = provider_.url("/token"),
                  .scope = "mail offline",
                  .clientIdentifier = "the client"};
    }
    void TearDown() override { Platform::install({}); }

    // What the page was asked with.
    std::map<std::string, std::string> asked() {
        const std::string page = addressBehind(workspace_->openedUrls.at(0));
        return queryFields(std::string_view(page).substr(page.find('?') + 1));
    }
    // As the browser does when the provider sends it back.
    int comeBack(const std::string& query) {
        std::optional<int> status;
        Platform::current().http->send({.url = asked()["redirect_uri"] + "/?" + query},
                                       [&](const auto& answer) { status = answer ? answer->status : 0; });
        loop_->runUntil([&] { return status.has_value(); });
        return status.value_or(-1);
    }
    void begin(const std::string& secret = {}) {
        auto started = BrowserSignIn::start(place_, secret, "ada@example.org",
                                            [this](Result<MailTokens> tokens) { result_ = std::move(tokens); });
        ASSERT_TRUE(started) << started.error().description;
        signIn_ = std::move(*started);
    }
    const Result<MailTokens>& outcome() {
        loop_->runUntil([&] { return result_.has_value(); });
        if (!result_) result_ = failure("test", 0, "nothing came back");
        return *result_;
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    TemporaryFolder folder_;
    const std::shared_ptr<HookedKeychain> keychain_ = std::make_shared<HookedKeychain>(
        Keychain::vault({.folder = folder_ / "Keychain", .key = {}, .files = nullptr}));
    std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
    WebAnswer answer_{.body = R"({"access_token": "fresh", "refresh_token": "lasting", "expires_in": "1800"})"};
    std::shared_future<void> wait_;  // answers no sooner than this is there
    ScriptedWebServer provider_{[this](const WebRequest&) {
        loop_->post([] {});  // who waits for a request looks again
        if (wait_.valid()) wait_.wait();
        return answer_;
    }};
    SignInPlace place_;
    std::unique_ptr<BrowserSignIn> signIn_;
    std::optional<Result<MailTokens>> result_;
};

}  // namespace qs
