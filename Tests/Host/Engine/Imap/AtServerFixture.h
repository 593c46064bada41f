// A mail engine with one account, "ada", whose mail lies at a server on loopback, with a virtual clock; and a second
// client of the same account, by which a test looks at the server and changes things there.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Foundation/FileSystem.h"
#include "Foundation/NotificationCenter.h"
#include "Imap/ImapConnection.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailSync.h"
#include "Support/CuttingProxy.h"
#include "Support/TemporaryFolder.h"
#include "Support/VirtualClockTest.h"

namespace qs {

class AtServerTest : public VirtualClockTest {
protected:
    virtual int serverPort() const = 0;
    virtual std::unique_ptr<ImapConnection> signIn() const = 0;
    void SetUp() override {
        proxy_ = std::make_unique<CuttingProxy>(serverPort());
        open();
        keepAccount(record());
    }
    void TearDown() override {
        other_.reset();
        engine_.reset();
    }
    AccountRecord record() const {
        return {.identifier = "ada",
                .displayName = "Ada",
                .kind = AccountKind::Imap,
                .identities = {{"Ada Lovelace", "ada@example.org"}},
                .incoming = IncomingServer{.host = "127.0.0.1",
                                           .port = proxy_->port(),
                                           .security = TransportSecurity::None,
                                           .user = "ada",
                                           .passwordCommand = {"/bin/echo", "analytical"}}};
    }
    void keepAccount(const AccountRecord& account) {
        ASSERT_TRUE(engine_->accounts().put(account));
        NotificationCenter::defaultCenter().post(MailAccountsDidChangeNotification);
        library().accountsDidChange();
    }
    virtual EngineOptions options() {
        return {.dataFolder = folder_.path(), .watchFolders = false, .watchesInboxes = false};
    }
    void open() {
        auto opened = MailEngine::open(options());
        ASSERT_TRUE(opened) << opened.error().description;
        engine_ = std::move(*opened);
    }
    void start() {
        engine_->sync().start();
        settle();
    }
    void restart() {
        engine_.reset();
        open();
        start();
    }
    // All that falls due soon, and what that brings along.
    void settle() {
        for (int i = 0; i < 3; ++i)
            loop_->advance(2);
    }
    void syncAll() {
        engine_->sync().syncNow({});
        settle();
    }

    MailLibrary& library() { return engine_->library(); }
    Mailbox& box(const std::string& folder) {
        const auto found = library().mailboxWithIdentifier("ada/" + folder);
        if (!found) throw std::runtime_error("no mailbox " + folder);
        return *found;
    }
    static std::string mail(const std::string& subject, const std::string& body = "Hello.\r\n") {
        return "From: Grace Hopper <grace@example.net>\r\nTo: Ada <ada@example.org>\r\nMessage-Id: <" + subject +
               "@example.net>\r\nSubject: " + subject + "\r\n\r\n" + body;
    }
    std::int64_t id(const std::string& folder, const std::string& subject) {
        for (const MessageSummary& row : library().page(box(folder).criterion(), {}, 0, 1000).rows)
            if (row.subject == subject) return row.id;
        throw std::runtime_error("no message " + subject + " in " + folder);
    }
    void flag(const std::string& folder, const std::string& subject, const FlagChange& change) {
        ASSERT_TRUE(library().setFlags({id(folder, subject)}, change));
    }
    void move(const std::string& subject, const std::string& from, const std::string& to) {
        ASSERT_TRUE(library().move({id(from, subject)}, box(to)));
    }
    void erase(const std::string& folder, const std::string& subject) {
        ASSERT_TRUE(library().erase({id(folder, subject)}));
    }
    void add(const std::string& folder, const std::string& subject, MessageFlags flags = {}) {
        ASSERT_TRUE(library().add(box(folder), mail(subject), flags, loop_->now()));
    }

    ImapConnection& other() {
        if (!other_ || !other_->isOpen()) other_ = signIn();
        return *other_;
    }
    static ImapMailboxName named(const std::string& name) { return ImapMailboxName::fromText(name); }
    // The uids in a mailbox of the server, by subject; it stays selected.
    std::multimap<std::string, std::uint32_t> uids(const std::string& mailbox) {
        std::multimap<std::string, std::uint32_t> found;
        visit(mailbox,
              [&](const std::string& subject, const ImapMessage& message) { found.emplace(subject, message.uid); });
        return found;
    }
    ImapUidSet uid(const std::string& mailbox, const std::string& subject) {
        const auto all = uids(mailbox);
        const auto found = all.find(subject);
        return found == all.end() ? ImapUidSet() : ImapUidSet{found->second};
    }
    void visit(const std::string& mailbox, const std::function<void(const std::string&, const ImapMessage&)>& each) {
        const auto selection = other().select(named(mailbox));
        if (!selection) throw std::runtime_error(selection.error().description);
        if (selection->messages == 0) return;
        const auto done =
            other().fetch(ImapUidSet::all(), {.content = ImapFetch::Content::Header}, [&](const ImapMessage& message) {
                const std::string& header = *message.content;
                const auto begin = header.find("Subject: ") + 9;
                each(header.substr(begin, header.find('\r', begin) - begin), message);
            });
        if (!done) throw std::runtime_error(done.error().description);
    }

    // "subject flags" of every message of a mailbox, sorted; flags as letters, S seen, F flagged, R answered, T
    // deleted.
    using Lines = std::vector<std::string>;
    Lines there(const std::string& mailbox) {
        Lines lines;
        visit(mailbox, [&](const std::string& subject, const ImapMessage& message) {
            lines.push_back(line(subject, hasImapFlag(*message.flags, "\\Seen"),
                                 hasImapFlag(*message.flags, "\\Flagged"), hasImapFlag(*message.flags, "\\Answered"),
                                 hasImapFlag(*message.flags, "\\Deleted")));
        });
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    Lines here(const std::string& folder) {
        Lines lines;
        for (const MessageSummary& row : library().page(box(folder).criterion(), {}, 0, 1000).rows)
            lines.push_back(
                line(row.subject, row.flags.seen, row.flags.flagged, row.flags.answered, row.flags.deleted));
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    static std::string line(const std::string& subject, bool seen, bool flagged, bool answered, bool deleted) {
        std::string letters;
        if (seen) letters += 'S';
        if (flagged) letters += 'F';
        if (answered) letters += 'R';
        if (deleted) letters += 'T';
        return letters.empty() ? subject : subject + " " + letters;
    }
    // Both sides hold these.
    void expectBoth(const std::string& folder, const Lines& lines) {
        EXPECT_EQ(here(folder), lines) << "here, " << folder;
        EXPECT_EQ(there(folder), lines) << "there, " << folder;
    }
    SyncStatus status() { return engine_->sync().statuses().at(0); }

    std::unique_ptr<CuttingProxy> proxy_;
    TemporaryFolder folder_;
    std::unique_ptr<MailEngine> engine_;
    std::unique_ptr<ImapConnection> other_;
};

}  // namespace qs
