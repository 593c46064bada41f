// An account at a server that is like Gmail's.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Imap/AtServerFixture.h"
#include "Support/GmailMail.h"
#include "Support/GmailServer.h"

namespace qs {

class GmailTest : public AtServerTest {
protected:
    using Cut = GmailServer::Cut;

    void SetUp() override {
        server_ = std::make_unique<GmailServer>();
        AtServerTest::SetUp();
    }
    void TearDown() override {
        AtServerTest::TearDown();
        EXPECT_THAT(server_->complaints(), ::testing::IsEmpty());
    }
    int serverPort() const override { return server_->port(); }
    std::unique_ptr<ImapConnection> signIn() const override { return nullptr; }  // tests ask the server itself

    std::uint64_t deliver(const std::string& subject, const std::set<std::string>& labels = {"INBOX"},
                          const std::set<std::string>& flags = {}) {
        return server_->deliver(mail(subject), labels, flags);
    }
    // The mailboxes here that show it, by identifier, sorted; "*" behind those where its text is not here.
    std::vector<std::string> placesHere(const std::string& subject) {
        std::vector<std::string> places;
        for (const MessageRef& each : library().messagesWithMessageIDHeader(subject + "@example.net")) {
            const auto content = library().content(each->libraryID());
            places.push_back(each->mailbox()->identifier() + (content && !content->empty() ? "" : "*"));
        }
        std::sort(places.begin(), places.end());
        return places;
    }
    // The labels that a copy says it bears.
    std::vector<std::string> labelsHere(const std::string& folder, const std::string& subject) {
        std::vector<std::string> labels;
        for (const auto& each : library().messageWithID(id(folder, subject))->gmailLabels())
            labels.push_back(each->identifier());
        std::sort(labels.begin(), labels.end());
        return labels;
    }

    std::unique_ptr<GmailServer> server_;
};

}  // namespace qs
