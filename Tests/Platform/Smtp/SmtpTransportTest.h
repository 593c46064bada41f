// What the tests of handing a message to a server share: an account there, and what was told on the way.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "Smtp/SmtpTransport.h"
#include "Support/LogCapture.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestIdentity.h"

namespace qs {

inline constexpr const char* kPassword = "correct-horse-battery";

class SmtpTransport : public ::testing::Test {
protected:
    SubmissionServer account(int port, TransportSecurity security) {
        SubmissionServer server;
        server.host = "127.0.0.1";
        server.port = port;
        server.security = security;
        server.certificateAuthorities = authority_.write(folder_ / "authority.pem").string();
        return server;
    }

    SubmissionServer withPassword(SubmissionServer server) {
        server.user = "sam";
        server.passwordCommand = {"printf", "%s\\nsecond line\\n", kPassword};
        return server;
    }

    SmtpOutcome send(const SubmissionServer& server, SizedSource content = {"Subject: s\r\n\r\nx\r\n"}) {
        return sendOverSmtp(server, {"sam@example.org", {"a@x.example", "b@x.example"}, std::move(content)},
                            {.beforeFinalDot =
                                 [this](const auto& refused) {
                                     ++dots_;
                                     refused_ = refused;
                                     return canNote_;
                                 },
                             .isCancelled = [this] { return cancelled_; }});
    }

    // Nothing that a stranger should not have: neither password nor mail.
    static void expectNothingTold(const RecordingSmtpServer& server) {
        EXPECT_THAT(server.received(), ::testing::IsEmpty());
        for (const std::string& command : server.commands())
            EXPECT_THAT(command, testing::Not(testing::ContainsRegex("AUTH|MAIL|DATA")));
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    TemporaryFolder folder_;
    TestAuthority authority_;
    int dots_ = 0;
    bool canNote_ = true, cancelled_ = false;
    SmtpRefusals refused_;
};

}  // namespace qs
