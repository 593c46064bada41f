// A mail engine with a virtual clock for tests of deliveries: accounts "ada" and "ben" deliver among themselves, "sam"
// submits to a recording server.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "AccountBook.h"
#include "DeliveryService.h"
#include "Foundation/NotificationCenter.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/TemporaryFolder.h"
#include "Support/TornDisk.h"
#include "Support/VirtualClockTest.h"

namespace qs {

AccountRecord deliveryAccount(std::string identifier, const RecordingSmtpServer* server = nullptr);
// A message as it stands in an outbox.
std::string testMail(std::string_view from, std::string_view to, std::string_view number,
                     std::string_view extraHeaders = "", std::string_view body = "Hello.\r\n");

class DeliveryFixture : public VirtualClockTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // The engine, over `files_`. Does not start deliveries.
    void open();
    void openAndStart();
    void close();
    void restart();

    void send(std::string_view account, const std::string& mail);  // append and settle
    void walk();                                                   // as the plug-in does every 30 seconds
    // The subjects in a mailbox, oldest first, blanks between.
    std::string subjects(std::string_view account, MailboxKind kind);
    std::vector<MessageSummary> messages(std::string_view account, MailboxKind kind);
    std::string content(std::string_view account, MailboxKind kind);  // of the newest
    DeliveryStatus onlyStatus();
    DeliveryService& deliveries() { return engine_->deliveries(); }
    // Nothing is left that belongs to a delivery: no claimed file, no journal.
    void expectTidy();

    TemporaryFolder folder_;  // of the index alone, unless files_ is the real disk
    TornDisk disk_;
    FileSystem* files_ = &disk_;
    RecordingSmtpServer server_;
    std::vector<AccountRecord> accounts_;
    std::unique_ptr<MailEngine> engine_;
    std::vector<std::string> notices_;
    ObservationRef observation_;
};

}  // namespace qs
