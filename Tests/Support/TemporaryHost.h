// A whole mail program on a temporary data folder, with a virtual clock: accounts, library, delivery, windows, and a
// plug-in bundle if one is asked for. No page and no server. One at a time in a process.
//
//     TemporaryHost host({.plugIn = QS_PLUGIN_BUNDLE});
//     host.composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
//     host.advance(30);
//     EXPECT_THAT(host.inboxOf("ben"), ElementsAre(Field(&MessageSummary::subject, "Minutes")));
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "AccountBook.h"
#include "Foundation/Date.h"
#include "Mail/Mailbox.h"
#include "Mail/Message.h"
#include "MailLibrary.h"
#include "Support/TemporaryFolder.h"

namespace qs {

class BundleLoader;
class ComposeWindow;
class FileSystem;
class MailApplication;
class MailEngine;
class MainViewer;
class RunLoop;
struct Platform;

struct TemporaryHostOptions {
    int osMinor = 12;
    // None: two local accounts, "ada" (Ada Lovelace, ada@example.org) and "ben" (Ben Nevis, ben@example.org).
    std::vector<AccountRecord> accounts;
    bool noAccounts = false;
    std::filesystem::path plugIn;  // a bundle's folder; empty: none
    Date start{1'700'000'000};
    std::string timeZone = "UTC";
    bool startDeliveries = true;
    FileSystem* files = nullptr;  // of mail, drafts and deliveries; null: the real one
    // The machine's ports besides its facts are missing, unless this puts some in. Called at each start.
    std::function<void(Platform&)> preparePlatform;
    // Called at each start when settings can be read and written, and nothing else stands yet.
    std::function<void()> prepareSettings;
};

// A local account with one address, for options.
AccountRecord localAccount(std::string identifier, std::string fullName, std::string address);

class TemporaryHost {
public:
    explicit TemporaryHost(TemporaryHostOptions options = {});
    ~TemporaryHost();

    RunLoop& loop();
    void advance(TimeInterval seconds);  // with all deliveries and other work that falls due
    void settle();                       // all that is ready now; time stands
    MailEngine& engine();
    MailLibrary& library();
    MailApplication& application();
    MainViewer& viewer();
    BundleLoader& bundles();
    const std::vector<std::string>& bundleErrors() const;  // of the last start
    const std::filesystem::path& dataFolder() const;

    // Ends the program in good order and starts it again on the same data; the clock goes on. Windows, messages and all
    // other objects of before are gone.
    void restart();
    // The two halves of it, for looking at the data folder in between.
    void shutDown();
    void passWhileDown(TimeInterval seconds) { now_ = now_ + seconds; }
    void start();

    // A new message as a person writes it: window, text, send. Settles.
    std::shared_ptr<ComposeWindow> compose(std::string_view fromAccount, std::string_view to, std::string_view subject,
                                           std::string_view body);
    void composeAndSend(std::string_view fromAccount, std::string_view to, std::string_view subject,
                        std::string_view body);
    // Puts a message into a mailbox as if it had arrived there now. Settles.
    MessageRef receive(std::string_view account, std::string_view from, std::string_view subject, std::string_view body,
                       MailboxKind kind = MailboxKind::Inbox, std::string_view extraHeaders = {});
    // Newest first.
    std::vector<MessageSummary> messagesOf(std::string_view account, MailboxKind kind);
    std::vector<MessageSummary> inboxOf(std::string_view account) { return messagesOf(account, MailboxKind::Inbox); }

private:
    struct Running;
    void startAll();
    TemporaryHostOptions options_;
    TemporaryFolder folder_;
    Date now_;
    int received_ = 0;
    std::vector<std::string> bundleErrors_;
    std::unique_ptr<Running> running_;
};

}  // namespace qs
