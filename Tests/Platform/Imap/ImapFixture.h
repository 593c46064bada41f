// What the tests of the IMAP line share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "Imap/ImapConnection.h"
#include "Support/DovecotServer.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {

class ImapTest : public ::testing::Test {
protected:
    ImapServer account(int port, TransportSecurity security) {
        ImapServer server;
        server.host = "127.0.0.1";
        server.port = port;
        server.security = security;
        server.user = "ada";
        return server;
    }

    static ImapSecret password(std::string text = "analytical") {
        return {ImapSecret::Kind::Password, std::move(text)};
    }

    // What a call failed with; ImapFailure{} when it did not.
    template <class R>
    static ImapFailure failureOf(const R& result) {
        return result ? ImapFailure{} : imapFailure(result.error());
    }

    template <class R>
    static std::string sentence(const R& result) {
        return result ? "it went well" : result.error().description;
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    TemporaryFolder folder_;
};

}  // namespace qs
