// The index may be lost, damaged or refused by the disk at any time.
#include <sys/resource.h>

#include <fstream>

#include "Database/Database.h"
#include "LibraryTest.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LibraryIndex : public LibraryTest {
protected:
    // Every fact that a person or a plug-in could miss, by number.
    std::map<std::int64_t, std::string> everything() {
        std::map<std::int64_t, std::string> all;
        for (const MessageSummary& row : library_->page({}, "", 0, 1000).rows)
            all[row.id] = row.mailbox + "|" + row.subject + "|" + std::to_string(row.received.secondsSince1970) + "|" +
                          std::to_string(row.flags.seen) + std::to_string(row.flags.junk) +
                          std::to_string(row.flags.flagged) + std::to_string(row.flags.colour);
        return all;
    }
    void fill() {
        open();
        library_->mailbox("ada", MailboxKind::Outbox, true);
        for (int i = 0; i < 12; ++i)
            add(i % 2 == 0 ? "ada/INBOX" : "ben/Archive", "m" + std::to_string(i), 1'600'000'000 + i,
                {.seen = i % 3 == 0, .flagged = i % 4 == 0, .junk = i % 5 == 0, .colour = i % 7});
        add("ada/Outbox", "planned", 100, {}, "Date: Sun, 22 Nov 2026 22:00:00 +0000\r\n");
    }
    std::filesystem::path index() { return folder_ / "Library.sqlite"; }
};

TEST_F(LibraryIndex, ALostOrDamagedFileIsMadeAnewWithTheSameNumbersAndFlags) {
    fill();
    const auto before = everything();
    ASSERT_EQ(before.size(), 13U);
    library_.reset();
    const std::string whole = *FileSystem::real().read(index());
    struct Case {
        const char* why;
        std::function<void()> damage;
        bool isNoticed;
    };
    const auto overwrite = [&](std::size_t from, std::size_t length) {
        std::fstream file(index(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(from));
        file << std::string(length, '\x5a');
    };
    for (const Case& c : {
             Case{"lost", [&] { std::filesystem::remove(index()); }, false},
             Case{"empty", [&] { std::filesystem::resize_file(index(), 0); }, false},
             Case{"no database", [&] { overwrite(0, 100); }, true},
             Case{"cut off", [&] { std::filesystem::resize_file(index(), whole.size() / 2); }, true},
             Case{"damaged in the middle", [&] { overwrite(4096, whole.size() - 4096); }, true},
         }) {
        c.damage();
        open();
        loop_->runUntilIdle();
        EXPECT_EQ(everything(), before) << c.why;
        EXPECT_EQ(box("ada/INBOX").messageCount(), 6) << c.why;
        EXPECT_THAT(searching("planned"), ElementsAre("planned")) << c.why;
        const auto notices = library_->takeNotices();
        EXPECT_EQ(!notices.empty(), c.isNoticed) << c.why;
        EXPECT_EQ(std::filesystem::exists(folder_ / "Library.sqlite.damaged"), c.isNoticed) << c.why;
        std::filesystem::remove(folder_ / "Library.sqlite.damaged");
        library_.reset();
    }
}

TEST_F(LibraryIndex, DamageThatShowsAtWorkIsRepairedInTheBackground) {
    fill();
    const auto before = everything();
    library_.reset();
    open();
    {
        std::fstream file(index(), std::ios::in | std::ios::out | std::ios::binary);
        const auto size = std::filesystem::file_size(index());
        for (std::uintmax_t page = 3 * 4096; page < size; page += 4096) {
            file.seekp(static_cast<std::streamoff>(page));
            file << std::string(200, '\x5a');
        }
    }
    // Whatever each of these answers now, they make the damage show, and nothing stops.
    (void)library_->page({}, "m", 0, 100);
    (void)library_->page({}, "", 0, 100);
    (void)library_->add(box("ada/INBOX"), mail("late"), {}, {1'700'000'000}, "late");
    loop_->runUntilIdle();
    ASSERT_TRUE(library_->add(box("ada/INBOX"), mail("late"), {}, {1'700'000'000}, "late"));
    auto after = everything();
    EXPECT_EQ(std::erase_if(after, [](const auto& row) { return row.second.find("late") != std::string::npos; }), 1U);
    EXPECT_EQ(after, before);
    EXPECT_THAT(library_->takeNotices(), ElementsAre(HasSubstr("made anew")));
}

TEST_F(LibraryIndex, AFileOfAnotherVersionIsMadeAnew) {
    fill();
    const auto before = everything();
    library_.reset();
    {
        std::fstream file(index(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(60);  // the user version in the file's header
        file << std::string("\0\0\0\x63", 4);
    }
    open();
    EXPECT_EQ(everything(), before);
    EXPECT_THAT(library_->takeNotices(), IsEmpty());
}

// A statement that could be taken back by itself, as those with most triggers, would make it write them one by one.
TEST_F(LibraryIndex, WritesTheWordsOfManyMessagesAtOnce) {
    open();
    for (int i = 0; i < 40; ++i)
        add("ada/INBOX", "m" + std::to_string(i), 1'700'000'000 - i, {},
            i % 3 == 0 ? "" : "In-Reply-To: <first@example.org>\r\n");
    library_.reset();
    std::filesystem::remove(index());
    open();
    EXPECT_EQ(library_->page({}, "", 0, 1000).rows.size(), 40U);
    library_.reset();
    Database written(index(), {.access = Database::Access::ReadOnly});
    for (const std::string table : {"words", "fragments"})
        EXPECT_EQ(written.integer("SELECT count(DISTINCT segid) FROM " + table + "_idx"), 1) << table;
}

// While very many messages are read in, nobody waits for the disk.
TEST_F(LibraryIndex, IsMadeAnewOnlyWhenTheComputerWentDownInTheMiddle) {
    fill();
    const auto before = everything();
    std::string start;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> start;
    ASSERT_FALSE(start.empty());
    struct Case {
        const char* why;
        std::string mark;
        bool isMadeAnew;
    };
    for (const Case& c : {Case{"another start of the computer", "an earlier one", true}, Case{"a torn mark", "", true},
                          Case{"the program alone ended", start, false}}) {
        library_.reset();
        Database(index(), {}).run("UPDATE messages SET subject = 'as no file says' WHERE subject = 'm3'");
        folder_.write("Library.sqlite.unsynced", c.mark);
        open();
        EXPECT_EQ(everything() == before, c.isMadeAnew) << c.why;
        EXPECT_FALSE(std::filesystem::exists(folder_ / "Library.sqlite.unsynced")) << c.why;
        EXPECT_THAT(library_->takeNotices(), IsEmpty()) << c.why;
    }
}

TEST_F(LibraryIndex, MailCanBeReadWhenTheDiskTakesNoIndex) {
    fill();
    const auto before = everything();
    library_.reset();
    std::filesystem::remove(index());
    std::filesystem::create_directory(index());
    open();
    EXPECT_EQ(everything(), before);
    EXPECT_THAT(library_->takeNotices(), ElementsAre(HasSubstr("kept in memory")));
    EXPECT_TRUE(library_->add(box("ada/INBOX"), mail("more"), {}, {100}));
    EXPECT_EQ(box("ada/INBOX").messageCount(), 7);
}

TEST_F(LibraryIndex, AnIndexThatCannotGrowLosesNoMail) {
    fill();
    const auto before = everything();
    // Files of ours may grow no more: what SQLite meets on a full disk.
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit tight{.rlim_cur = 2000, .rlim_max = old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    const auto added = library_->add(box("ada/INBOX"), mail("late"), {}, {1'700'000'000});
    const auto long_ = library_->add(box("ada/INBOX"), mail("long", "", std::string(50'000, 'x')), {}, {1'700'000'000});
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
    EXPECT_FALSE(added);
    EXPECT_FALSE(long_);
    for (const auto& result : {added, long_})
        EXPECT_FALSE(result.error().description.empty());
    loop_->advance(60);
    EXPECT_EQ(everything(), before) << "nothing half was left";
    open();
    EXPECT_EQ(everything(), before);
    EXPECT_TRUE(library_->add(box("ada/INBOX"), mail("late"), {}, {1'700'000'000}));
}

}  // namespace qs
