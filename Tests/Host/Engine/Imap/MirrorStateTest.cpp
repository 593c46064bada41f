// What is known of a server, kept from one version of the program to the next.
#include <gtest/gtest.h>

#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Imap/MirrorState.h"
#include "Imap/MirroredName.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

constexpr const char* kVersion2 = R"(
CREATE TABLE mailboxes(
    number INTEGER PRIMARY KEY AUTOINCREMENT, folder TEXT NOT NULL UNIQUE, server_name TEXT NOT NULL,
    uid_validity INTEGER NOT NULL, uid_next INTEGER NOT NULL, mod_seq INTEGER NOT NULL,
    pending INTEGER NOT NULL DEFAULT 0);
CREATE TABLE messages(
    mailbox INTEGER NOT NULL REFERENCES mailboxes(number) ON DELETE CASCADE, uid INTEGER NOT NULL,
    name TEXT NOT NULL, flags INTEGER NOT NULL, PRIMARY KEY(mailbox, uid)) WITHOUT ROWID;
CREATE UNIQUE INDEX by_name ON messages(name, mailbox);
CREATE TABLE removals(name TEXT NOT NULL, folder TEXT NOT NULL, PRIMARY KEY(name, folder)) WITHOUT ROWID;
CREATE TABLE uploads(
    folder TEXT NOT NULL, name TEXT NOT NULL, header_digest TEXT NOT NULL, size INTEGER NOT NULL,
    PRIMARY KEY(folder, name)) WITHOUT ROWID;
INSERT INTO mailboxes(folder, server_name, uid_validity, uid_next, mod_seq, pending) VALUES('Lists', 'Lists', 7, 3, 9, 1);
INSERT INTO messages VALUES(1, 2, 'one', 4);
INSERT INTO removals VALUES('two', 'Lists');
PRAGMA user_version = 2;
)";

TEST(MirrorState, TakesUpWhatTheVersionBeforeKept) {
    const TemporaryFolder folder;
    const auto file = folder / "sync.sqlite";
    Database(file, {}).runScript(kVersion2);
    for (int opening = 0; opening < 2; ++opening) {
        MirrorState state(file, FileSystem::real());
        const auto lists = state.mailboxOfFolder("Lists");
        ASSERT_TRUE(lists);
        EXPECT_EQ(lists->modSeq, 9u);
        EXPECT_EQ(lists->order, MirroredMailbox::Order::Rename);
        EXPECT_EQ(lists->origin, "Lists") << "names of files that are here must not change";
        EXPECT_TRUE(state.knows(lists->number, 2));
        EXPECT_TRUE(state.isRemoved("two"));
        state.noteWishes({{"three", {.flags = {.set = 1}, .folder = "Archive"}}});
        EXPECT_EQ(state.wishes().at("three").folder, "Archive");
    }
}

TEST(MirrorState, NamesOfRenamedMailboxesAndOfThoseAfterThemStayApart) {
    const TemporaryFolder folder;
    MirrorState state(folder / "sync.sqlite", FileSystem::real());
    const auto first = state.putMailbox({.folder = "A", .serverName = "A", .uidValidity = 1});
    const std::string name = mirroredName(first, 5);
    state.noteWishes({{name, {.flags = {}, .folder = "A"}}});
    state.orderRenaming({{"A", "B"}});
    state.renameMailbox(first.number, "B", "B");
    const auto renamed = state.mailboxNumbered(first.number);
    EXPECT_EQ(mirroredName(*renamed, 5), name);
    EXPECT_EQ(state.wishes().at(name).folder, "B");
    // Some servers count every mailbox with the same validity.
    const auto second = state.putMailbox({.folder = "A", .serverName = "A", .uidValidity = 1});
    EXPECT_NE(mirroredName(second, 5), name);
    EXPECT_EQ(mirroredName(*state.mailboxOfFolder("A"), 5), mirroredName(second, 5));
}

TEST(MirrorState, WhatOneCommandHasMovedIsKeptAsAWholeOrNotAtAll) {
    const TemporaryFolder folder;
    const auto file = folder / "sync.sqlite";
    MirrorState state(file, FileSystem::real());
    const auto from = state.putMailbox({.folder = "", .serverName = "INBOX", .uidValidity = 1}),
               to = state.putMailbox({.folder = "Archive", .serverName = "Archive", .uidValidity = 1});
    const std::vector<MirroredMessage> messages{{.uid = 1, .name = "one"}, {.uid = 2, .name = "two"}};
    state.change(from.number, messages, {});
    const std::vector<MirrorState::Moved> moved{{.uid = 1, .there = {.uid = 7, .name = "one"}},
                                                {.uid = 2, .there = {.uid = 8, .name = "two"}}};
    const auto moves = [&] { state.moveMessages(from.number, to.number, moved); };
    const auto movesUntold = [&] { state.moveUntold(from.number, messages, "Archive"); };
    Database other(file, {});
    other.runScript("CREATE TRIGGER full BEFORE DELETE ON messages WHEN old.name = 'two' "
                    "BEGIN SELECT RAISE(ABORT, 'no room'); END");
    EXPECT_THROW(moves(), DatabaseFailure);
    EXPECT_THROW(movesUntold(), DatabaseFailure);
    EXPECT_EQ(state.messages(from.number).size(), 2u);
    EXPECT_TRUE(state.messages(to.number).empty());
    EXPECT_TRUE(state.uploads("Archive").empty());
    other.runScript("DROP TRIGGER full");
    moves();
    EXPECT_TRUE(state.messages(from.number).empty());
    EXPECT_EQ(state.messages(to.number).size(), 2u);
}

}  // namespace
}  // namespace qs
