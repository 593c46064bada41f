#include <algorithm>

#include "Application/HostInstances.h"
#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Foundation/FileSystem.h"
#include "Mail/MessageHeaders.h"

namespace qs {

AccountRecord deliveryAccount(std::string identifier, const RecordingSmtpServer* server) {
    AccountRecord account;
    account.identifier = identifier;
    account.displayName = identifier + "@example.org";
    account.identities = {{{}, account.displayName}};
    if (!server) return account;
    account.outgoing.emplace();
    account.outgoing->host = "127.0.0.1";
    account.outgoing->port = server->port();
    account.outgoing->security = TransportSecurity::None;
    return account;
}

std::string testMail(std::string_view from, std::string_view to, std::string_view number, std::string_view extraHeaders,
                     std::string_view body) {
    return "From: " + std::string(from) + "@example.org\r\nTo: " + std::string(to) +
           "\r\nSubject: " + std::string(number) + "\r\nMessage-Id: <" + std::string(number) +
           "@example.org>\r\n"
           "X-Universally-Unique-Identifier: U" +
           std::string(number) + "\r\n" + std::string(extraHeaders) + "\r\n" + std::string(body);
}

void DeliveryFixture::SetUp() {
    accounts_ = {deliveryAccount("ada"), deliveryAccount("ben"), deliveryAccount("sam", &server_)};
    observation_ = NotificationCenter::defaultCenter().addObserver(
        "MailDeliveryDidFail", [this](const Notification& n) { notices_.push_back(n.userInfo["text"].stringValue()); });
}

void DeliveryFixture::TearDown() {
    observation_.reset();
    close();
}

void DeliveryFixture::open() {
    const auto file = folder_ / "Accounts.plist";
    if (!files_->exists(file)) {
        ASSERT_TRUE(files_->makeFolder(folder_.path()));
        auto book = AccountBook::open(file, *files_);
        ASSERT_TRUE(book);
        for (const AccountRecord& account : accounts_)
            ASSERT_TRUE((*book)->put(account));
    }
    auto engine = MailEngine::open({.dataFolder = folder_.path(), .files = files_});
    ASSERT_TRUE(engine) << engine.error().description;
    engine_ = std::move(*engine);
}

void DeliveryFixture::openAndStart() {
    open();
    deliveries().start();
    loop_->runUntilIdle();
}

void DeliveryFixture::close() {
    if (engine_) engine_->deliveries().stop();
    loop_->runUntilIdle();
    engine_.reset();
    HostInstances::current() = {};
}

void DeliveryFixture::restart() {
    close();
    openAndStart();
}

void DeliveryFixture::send(std::string_view account, const std::string& mail) {
    OutgoingMessage message;
    message.content = mail;
    ASSERT_TRUE(deliveries().append(account, message));
    walk();
}

void DeliveryFixture::walk() {
    DeliveryQueue::sharedDeliveryQueue()->resetStateAndReprocessQueue();
    loop_->runUntilIdle();
}

std::vector<MessageSummary> DeliveryFixture::messages(std::string_view account, MailboxKind kind) {
    const auto mailbox = engine_->library().mailbox(account, kind, false);
    if (!mailbox) return {};
    auto rows = engine_->library().page(mailbox->criterion(), "", 0, 1000).rows;
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.subject < b.subject; });
    return rows;
}

std::string DeliveryFixture::subjects(std::string_view account, MailboxKind kind) {
    std::string text;
    for (const MessageSummary& row : messages(account, kind))
        text += (text.empty() ? "" : " ") + row.subject;
    return text;
}

std::string DeliveryFixture::content(std::string_view account, MailboxKind kind) {
    const auto rows = messages(account, kind);
    return rows.empty() ? "" : engine_->library().content(rows.back().id).value_or("");
}

DeliveryStatus DeliveryFixture::onlyStatus() {
    const auto all = deliveries().statuses();
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? DeliveryStatus{} : all.front();
}

void DeliveryFixture::expectTidy() {
    for (const auto& [path, content] : disk_.contents()) {
        EXPECT_EQ(path.find("/claimed/"), std::string::npos) << path;
        EXPECT_TRUE(!path.ends_with(".journal") || path.find("/corrupt/") != std::string::npos) << path;
    }
}

}  // namespace qs
