// Accounts at a real server on loopback.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Imap/AtServerFixture.h"
#include "Support/DovecotServer.h"

namespace qs {

class SyncTest : public AtServerTest {
protected:
    static void SetUpTestSuite() { server_ = std::make_unique<DovecotServer>(); }
    static void TearDownTestSuite() { server_.reset(); }
    void SetUp() override {
        std::filesystem::remove_all(server_->maildir("ada"));
        AtServerTest::SetUp();
    }
    int serverPort() const override { return server_->port(); }
    std::unique_ptr<ImapConnection> signIn() const override { return server_->signIn("ada"); }
    void deliver(const std::string& subject, const std::string& mailbox = "INBOX", const std::string& flags = "") {
        server_->deliver("ada", mail(subject), mailbox, flags);
    }

    static inline std::unique_ptr<DovecotServer> server_;
};

}  // namespace qs
