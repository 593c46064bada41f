// A library with two accounts, "ada" and "ben", on a temporary data folder, with a virtual clock.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "AccountBook.h"
#include "Foundation/FileSystem.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "Support/TemporaryFolder.h"
#include "Support/VirtualClockTest.h"

namespace qs {

class LibraryTest : public VirtualClockTest {
protected:
    // What the library would make for new accounts, without a sync for each folder.
    void SetUp() override {
        for (const char* account : {"ada", "ben"})
            for (const char* mailbox : {"", ".Drafts", ".Sent", ".Archive", ".Junk", ".Trash"})
                for (const char* folder : {"cur", "new", "tmp"})
                    std::filesystem::create_directories(mailFolder(account) / mailbox / folder);
    }
    // Opens, or closes and opens again, and has everything read in.
    void open(FileSystem& files = FileSystem::real()) {
        openUnread(files);
        reading().readIn();
        reading().waitUntilReadIn();
    }
    // With what the index knows already.
    void openUnread(FileSystem& files = FileSystem::real()) {
        library_.reset();
        book_ = *AccountBook::open(dataFolder_ / "Accounts.plist", files);
        for (const std::string name : {"ada", "ben"}) {
            if (book_->find(name)) continue;
            ASSERT_TRUE(
                book_->put({.identifier = name, .displayName = name, .identities = {{"", name + "@example.org"}}}));
        }
        auto opened = MailLibrary::open(dataFolder_, book_, files);
        ASSERT_TRUE(opened) << opened.error().description;
        library_ = *opened;
    }
    void TearDown() override { library_.reset(); }

    MailReading& reading() { return MailReading::of(*library_); }
    void accountsChanged() {
        library_->accountsDidChange();
        reading().waitUntilReadIn();
    }
    Mailbox& box(std::string_view identifier) {
        auto found = library_->mailboxWithIdentifier(identifier);
        if (!found) throw std::runtime_error("no mailbox " + std::string(identifier));
        return *found;
    }
    static std::string mail(std::string_view subject, std::string_view more = {},
                            std::string_view body = "Hello.\r\n") {
        return "From: Grace Hopper <grace@example.net>\r\nTo: Ada <ada@example.org>\r\nSubject: " +
               std::string(subject) + "\r\n" + std::string(more) + "\r\n" + std::string(body);
    }
    std::int64_t add(std::string_view mailbox, std::string_view subject, double received = 1'600'000'000,
                     MessageFlags flags = {}, std::string_view more = {}) {
        auto added = library_->add(box(mailbox), mail(subject, more), flags, {received});
        if (!added) throw std::runtime_error(added.error().description);
        return (*added)->libraryID();
    }
    std::vector<std::string> subjects(const MessageCriterion& criterion, std::string_view search = {}) {
        std::vector<std::string> found;
        for (const MessageSummary& row : library_->page(criterion, search, 0, 100).rows)
            found.push_back(row.subject);
        return found;
    }
    std::vector<std::string> subjectsIn(std::string_view mailbox) { return subjects(box(mailbox).criterion()); }
    std::vector<std::string> searching(std::string_view words) { return subjects({}, words); }
    std::filesystem::path mailFolder(std::string_view account) { return dataFolder_ / "Mail" / account; }

    TemporaryFolder folder_;
    std::filesystem::path dataFolder_ = folder_.path();
    std::shared_ptr<AccountBook> book_;
    std::shared_ptr<MailLibrary> library_;
};

}  // namespace qs
