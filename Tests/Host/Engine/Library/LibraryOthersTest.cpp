// An account over a Maildir tree that belongs to other programs: shown whole, changed by Maildir's rules alone.
#include <fstream>
#include <map>

#include "Foundation/RunLoop.h"
#include "LibraryTest.h"
#include "Maildir/MaildirTree.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

class LibraryOthers : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        fs::create_directories(tree_);
    }

    void makeMaildir(const fs::path& folder) {
        for (const char* part : {"cur", "new", "tmp"})
            fs::create_directories(tree_ / folder / part);
    }
    // As mbsync and mutt do: written aside, then renamed.
    void arrive(const fs::path& folder, const std::string& name, const std::string& subject) {
        const fs::path written = tree_ / folder / "tmp" / "one";
        std::ofstream(written) << mail(subject);
        fs::rename(written, tree_ / folder / name);
    }

    void openWithTree() {
        open();
        AccountRecord record{.identifier = "own",
                             .displayName = "Own",
                             .kind = AccountKind::Maildir,
                             .identities = {{"", "own@example.org"}},
                             .maildir = tree_};
        ASSERT_TRUE(book_->put(std::move(record)));
        accountsChanged();
    }

    // Name, kind and number of messages of each mailbox.
    std::vector<std::string> shown() {
        std::vector<std::string> names;
        for (const auto& each : library_->mailboxes("own"))
            names.push_back(each->displayName() + " " + std::to_string(static_cast<int>(each->kind())) + " " +
                            std::to_string(each->messageCount()));
        return names;
    }

    // Every file and folder of the tree with what it holds.
    std::map<std::string, std::string> everything() {
        std::map<std::string, std::string> found;
        for (const auto& each : fs::recursive_directory_iterator(tree_)) {
            std::string content;
            if (each.is_regular_file()) content = *FileSystem::real().read(each.path());
            found[each.path().lexically_relative(tree_).string()] = content;
        }
        return found;
    }

    const fs::path tree_ = folder_ / "home/Maildir";
};

}  // namespace

TEST_F(LibraryOthers, BothLayoutsAreRecognised) {
    struct Case {
        const char* why;
        std::vector<std::string> folders;
        std::vector<std::string> shown;
    };
    for (const Case& c :
         {Case{"Maildir++",
               {"", ".Sent Messages", ".Lists.kernel", ".Entw&APw-rfe", ".Drafts"},
               {"Inbox 0 0", "Drafts 1 0", "Sent Messages 3 0", "Entwürfe 7 0", "Lists/kernel 7 0"}},
          Case{"folders within folders",
               {"INBOX", "Sent", "Lists/kernel", "Lists", "a.b", "[Gmail]/Trash"},
               {"Inbox 0 0", "Sent 3 0", "[Gmail]/Trash 6 0", "a.b 7 0", "Lists 7 0", "Lists/kernel 7 0"}},
          Case{"an outbox of theirs is none of ours", {"", ".Outbox"}, {"Inbox 0 0", "Outbox 7 0"}}}) {
        fs::remove_all(tree_);
        fs::remove_all(dataFolder_ / "Accounts.plist");
        for (const std::string& folder : c.folders)
            makeMaildir(folder);
        fs::create_directories(tree_ / "no mailbox");
        const auto before = everything();
        openWithTree();
        EXPECT_THAT(shown(), ::testing::UnorderedElementsAreArray(c.shown)) << c.why;
        EXPECT_EQ(everything(), before) << c.why;
    }
}

TEST_F(LibraryOthers, NothingOfOursIsWrittenIntoIt) {
    makeMaildir("");
    makeMaildir(".Junk");
    arrive("", "new/1600000001.M1P1.box", "hello");
    arrive("", "cur/1600000001.M1P1.box:2,S", "another of the same name");
    std::ofstream(tree_ / "tmp/long-forgotten") << "somebody else's";
    fs::last_write_time(tree_ / "tmp/long-forgotten", fs::file_time_type::clock::now() - std::chrono::hours(24 * 3650));
    std::ofstream(tree_ / ".mbsyncstate") << "state";
    const auto before = everything();
    openWithTree();
    open();  // the next start
    EXPECT_EQ(everything(), before);

    // Mailboxes that the tree lacks are made in our own folder.
    for (const MailboxKind kind : {MailboxKind::Outbox, MailboxKind::Drafts, MailboxKind::Trash})
        ASSERT_TRUE(library_->mailbox("own", kind, true));
    ASSERT_TRUE(library_->add(*library_->mailbox("own", MailboxKind::Outbox, true), mail("waits"), {}, {100}));
    EXPECT_EQ(everything(), before);
    EXPECT_TRUE(fs::exists(mailFolder("own") / ".Outbox/cur"));
    EXPECT_FALSE(library_->createMailbox("own", "More"));
    EXPECT_EQ(everything(), before);
}

TEST_F(LibraryOthers, FlagsGoIntoNamesAndKeywordsStayTheirs) {
    makeMaildir("");
    makeMaildir(".Junk");
    std::ofstream(tree_ / "dovecot-keywords") << "0 $MailFlagBit0\n";
    arrive("", "cur/1600000001.M1P1.box:2,", "hello");
    openWithTree();
    const auto id = library_->page(box("own/INBOX").criterion(), {}, 0, 1).rows.at(0).id;
    ASSERT_TRUE(library_->setFlags({id}, {.seen = true, .flagged = true, .junk = true, .colour = 3}));
    EXPECT_TRUE(fs::exists(tree_ / "cur/1600000001.M1P1.box:2,FSa")) << "a letter that they have, none that they lack";
    EXPECT_EQ(*FileSystem::real().read(tree_ / "dovecot-keywords"), "0 $MailFlagBit0\n");
    ASSERT_TRUE(library_->move({id}, *library_->mailbox("own", MailboxKind::Junk, false)));
    EXPECT_THAT(subjectsIn("own//.Junk"), ElementsAre("hello"));
    EXPECT_FALSE(fs::exists(tree_ / ".Junk/dovecot-keywords"));
    EXPECT_FALSE(fs::exists(tree_ / ".Junk/maildirfolder"));
}

TEST_F(LibraryOthers, ATreeThatIsAwayComesBackWhole) {
    makeMaildir("");
    makeMaildir(".Lists");
    arrive(".Lists", "cur/1600000001.M1P1.box:2,S", "hello");
    openWithTree();
    EXPECT_THAT(subjectsIn("own//.Lists"), ElementsAre("hello"));
    fs::rename(tree_, folder_ / "away");
    accountsChanged();
    open();
    EXPECT_FALSE(fs::exists(tree_)) << "nothing is made in its place";
    EXPECT_FALSE(library_->takeNotices().empty());
    fs::rename(folder_ / "away", tree_);
    accountsChanged();
    EXPECT_THAT(subjectsIn("own//.Lists"), ElementsAre("hello"));
}

// With the real clock, as the watch lives on a thread of its own.
TEST_F(LibraryOthers, ChangesOfOtherProgramsShowAtOnce) {
    loop_.reset();
    loop_ = RunLoop::make(RunLoop::Clock::Real);
    const auto limit = loop_->after(60, [this] { loop_->stop(); });  // for a test that fails
    makeMaildir("INBOX");
    openWithTree();
    library_->watchFolders();
    const auto until = [&](const std::string& mailbox, const std::vector<std::string>& subjects) {
        return loop_->runUntil(
            [&] { return library_->mailboxWithIdentifier(mailbox) && subjectsIn(mailbox) == subjects; });
    };
    arrive("INBOX", "new/1600000001.M1P1.box", "new mail");
    EXPECT_TRUE(until("own/INBOX", {"new mail"}));
    fs::rename(tree_ / "INBOX/new/1600000001.M1P1.box", tree_ / "INBOX/cur/1600000001.M1P1.box:2,S");
    EXPECT_TRUE(loop_->runUntil([&] { return box("own/INBOX").unreadCount() == 0; }));
    makeMaildir("Lists");
    arrive("Lists", "cur/1600000002.M1P1.box:2,S", "in a new folder");
    EXPECT_TRUE(until("own//Lists", {"in a new folder"}));
    fs::remove(tree_ / "INBOX/cur/1600000001.M1P1.box:2,S");
    EXPECT_TRUE(until("own/INBOX", {}));
    library_.reset();
}

}  // namespace qs
