// Synchronising while the library still reads the folders.
#include "HeldFiles.h"
#include "Imap/SyncFixture.h"

namespace qs {

class SyncReadIn : public SyncTest {
protected:
    bool hasFileOf(const std::string& subject) {
        const auto files = FileSystem::real().list(folder_ / "Mail/ada/new");
        return std::ranges::any_of(*files, [&](const FileInfo& file) {
            const auto content = FileSystem::real().read(file.path);
            return content && content->find("Subject: " + subject + "\r\n") != std::string::npos;
        });
    }
};

// The index knows nothing of the messages, but the files are here: the server's word must be heeded, and what is here
// must not look like news from here.
TEST_F(SyncReadIn, WhatTheServerDidMeanwhileIsNotUndone) {
    for (const char* each : {"flagged", "read", "removed"})
        deliver(each);
    start();
    flag("INBOX", "read", {.seen = true});
    syncAll();
    expectBoth("INBOX", {"flagged", "read S", "removed"});
    engine_.reset();
    ASSERT_TRUE(other().store(uid("INBOX", "flagged"), ImapChange::Add, ImapFlags{"\\Flagged"}));
    const auto gone = uid("INBOX", "removed");
    ASSERT_TRUE(other().store(gone, ImapChange::Add, ImapFlags{"\\Deleted"}));
    ASSERT_TRUE(other().expunge(gone));
    deliver("new");
    for (const char* side : {"", "-wal", "-shm"})
        std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
    HeldFiles held(FileSystem::real(), HeldFiles::Holds::FirstToCome);
    auto opened = MailEngine::open(
        {.dataFolder = folder_.path(), .files = &held, .watchFolders = false, .watchesInboxes = false});
    ASSERT_TRUE(opened) << opened.error().description;
    engine_ = std::move(*opened);
    held.waitUntilHeld();
    engine_->sync().start();
    ASSERT_TRUE(loop_->runUntil([&] { return hasFileOf("new") && status().state == SyncStatus::State::Idle; }));
    const Lines expected{"flagged F", "new", "read S"};
    EXPECT_EQ(there("INBOX"), expected);
    held.letAllPass();
    settle();
    syncAll();
    expectBoth("INBOX", expected);
    EXPECT_TRUE(library().takeNotices().empty());
    engine_.reset();  // before the files
}

}  // namespace qs
