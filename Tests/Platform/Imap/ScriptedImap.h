// The IMAP line against a server that answers by a script, line by line.
#pragma once

#include "ImapFixture.h"
#include "Support/ScriptedServer.h"

namespace qs {

class ScriptedImap : public ImapTest {
protected:
    ImapServer account() {
        ImapServer server = ImapTest::account(server_.port(), TransportSecurity::None);
        server.limits.silenceSeconds = patience_;
        server.limits.literalBytes = 1000;
        server.limits.pieceBytes = pieceBytes_;
        return server;
    }

    // A script that has got as far as being signed in; the next tag is a2.
    ScriptedServer::Script& signedIn(const std::string& capabilities = "") {
        return server_.script()
            .say("* OK [CAPABILITY IMAP4rev1] hello")
            .expect("a1 LOGIN \"ada\" \"analytical\"")
            .say("a1 OK [CAPABILITY IMAP4rev1 " + capabilities + "] welcome");
    }

    std::unique_ptr<ImapConnection> opened() {
        auto connection = std::make_unique<ImapConnection>(account());
        connection->setUpdateHandler([this](const ImapUpdate& update) { updates_.push_back(update); });
        const auto done = connection->open(password());
        EXPECT_TRUE(done) << sentence(done);
        return connection;
    }

    Result<void> tryToOpen(const ImapSecret& secret) {
        ImapConnection connection(account());
        auto done = connection.open(secret);
        EXPECT_EQ(connection.isOpen(), done.has_value());
        return done;
    }

    void TearDown() override { EXPECT_THAT(server_.complaints(), ::testing::IsEmpty()); }

    ScriptedServer server_;
    std::vector<ImapUpdate> updates_;
    TimeInterval patience_ = 60;
    std::size_t pieceBytes_ = 4u << 20;
};

}  // namespace qs
