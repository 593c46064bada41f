// Labels of messages at Gmail, given and taken here and by others.
#include <cstdlib>

#include "Imap/GmailFixture.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class GmailLabelsTest : public GmailTest {
protected:
    using Names = std::vector<std::string>;
    using Folders = std::vector<std::string>;

    void SetUp() override {
        GmailTest::SetUp();
        number_ = deliver("paper");
        start();
        ASSERT_TRUE(library().createMailbox("ada", "Snooze"));
        settle();
        addedWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(MailLibraryMessagesWereAddedNotification), [this](const Notification& note) {
                if (!note.userInfo["duringOpen"].boolValue()) noteAll(note, added_);
            });
        labelledWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(MFLibraryMessagesGmailLabelsChangedNotification),
            [this](const Notification& note) { noteAll(note, labelled_); });
    }
    void TearDown() override {
        addedWatch_.reset();
        labelledWatch_.reset();
        EXPECT_THAT(server_->commands(), Not(Contains(HasSubstr("APPEND"))));
        GmailTest::TearDown();
    }
    void noteAll(const Notification& note, Names& names) {
        for (const Value& each : note.userInfo["messages"].array()) {
            const auto row = library().summary(each.integerValue());
            names.push_back(row ? row->subject + " in " + row->mailbox : "nothing");
        }
    }
    std::vector<std::shared_ptr<Mailbox>> boxes(const Folders& folders) {
        std::vector<std::shared_ptr<Mailbox>> found;
        for (const std::string& folder : folders)
            found.push_back(library().mailboxWithIdentifier("ada/" + folder));
        return found;
    }
    // As a plug-in does it, for the copy in that folder; in a program that has not said what it runs on.
    void label(const std::string& folder, const Folders& added, const Folders& taken) {
        const auto message = library().messageWithID(id(folder, "paper"));
        library_imap_store::async_setGmailLabelsFromDictionaryUpdatingServer(
            message->mailbox()->store(), {boxes(added), boxes(taken)}, {message}, true);
        loop_->advance(0.1);  // until everybody has been told
    }
    void goOn() {
        server_->letPass();
        proxy_->letPass();
        loop_->advance(60);  // longer than what was waited for
        syncAll();
    }
    // At both sides, in these mailboxes and among all mail.
    void expectPlaces(const Folders& folders, const std::string& what = {}) {
        Names here{"ada/Archive"}, there{GmailMail::kAll};
        for (const std::string& folder : folders) {
            here.push_back("ada/" + folder);
            there.push_back(folder);
        }
        std::sort(here.begin(), here.end());
        std::sort(there.begin(), there.end());
        EXPECT_EQ(placesHere("paper"), here) << what;
        EXPECT_EQ(server_->mailboxesOf(number_), there) << what;
    }
    // Likewise, once.
    void expectIn(const Folders& folders, const std::string& what) {
        expectPlaces(folders, what);
        EXPECT_THAT(server_->numbers(), SizeIs(1)) << what;
        EXPECT_EQ(server_->timesFetched(number_), 1) << what;
    }

    std::uint64_t number_ = 0;
    Names added_, labelled_;
    ObservationRef addedWatch_, labelledWatch_;
};

TEST_F(GmailLabelsTest, AreThoseOfTheMailboxesThatShowAMessage) {
    server_->create("Mills");
    server_->label(number_, {"Mills", GmailMail::kDrafts});
    syncAll();
    const auto account = library().mailAccounts().at(0);
    EXPECT_TRUE(account->isGmailAccount() && account->isKindOf("MFIMAPAccount"));
    for (const char* copy : {"INBOX", "Archive", "Mills"})
        EXPECT_EQ(labelsHere(copy, "paper"), (Names{"ada/Drafts", "ada/INBOX", "ada/Mills"})) << copy;
    EXPECT_EQ(account->gmailLabelWithName("Mills"), library().mailboxWithIdentifier("ada/Mills"));
    EXPECT_EQ(account->gmailLabelWithName("Nobody"), nullptr);
    for (const auto& [folder, isLabel] : std::map<std::string, bool>{
             {"INBOX", true}, {"Snooze", true}, {"Sent", true}, {"Archive", false}, {"Trash", false}, {"Junk", false}})
        EXPECT_EQ(box(folder).isValidGmailLabel(), isLabel) << folder;
    // Also before the server was asked again.
    engine_.reset();
    proxy_->goDown();
    open();
    EXPECT_TRUE(library().mailAccounts().at(0)->isGmailAccount());
    EXPECT_EQ(labelsHere("Archive", "paper"), (Names{"ada/Drafts", "ada/INBOX", "ada/Mills"}));
}

TEST_F(GmailLabelsTest, ChangesAreShownAtOnceAndReachTheServerWhenItCanBeReached) {
    proxy_->goDown();
    for (const bool restarts : {false, true}) {
        label("INBOX", {"Snooze"}, {"INBOX"});
        EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Archive", "ada/Snooze"));
        EXPECT_EQ(labelsHere("Archive", "paper"), Names{"ada/Snooze"});
        settle();
        if (restarts) restart();
        goOn();
        expectIn({"Snooze"}, restarts ? "after a restart" : "at once");
        label("Archive", {"INBOX"}, {"Snooze"});
        EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Archive", "ada/INBOX"));
        settle();
        expectIn({"INBOX"}, "back");
    }
    EXPECT_THAT(added_, IsEmpty()) << "no message came";
}

TEST_F(GmailLabelsTest, ACutAtAnyCommandLosesAndDoublesNothing) {
    const bool isFull = std::getenv("QUILLSTEAD_FULL_TESTS") != nullptr;
    bool isInbox = true;
    int uncut = 0;
    for (int round = 0; uncut < 4; ++round) {
        ASSERT_LT(round, 200);
        const int command = isFull ? round / 4 + 1 : round + 1;
        const Cut cut = round % 4 < 2 ? Cut::After : Cut::Before;
        const std::string what = "cut at command " + std::to_string(command) + (cut == Cut::After ? ", done" : "") +
                                 ", " + (isInbox ? "away" : "back");
        label("Archive", {isInbox ? "Snooze" : "INBOX"}, {isInbox ? "INBOX" : "Snooze"});
        isInbox = !isInbox;
        server_->cutAt(command, cut);
        settle();
        uncut = server_->wasCut() ? 0 : uncut + 1;
        if (round % 5 == 4) restart();
        goOn();
        expectIn({isInbox ? "INBOX" : "Snooze"}, what);
        if (HasFailure()) return;
    }
    EXPECT_THAT(added_, IsEmpty()) << "no message came";
}

TEST_F(GmailLabelsTest, OthersMayChangeThemMeanwhile) {
    server_->create("Mills");
    proxy_->goDown();
    label("INBOX", {"Snooze"}, {"INBOX"});
    server_->label(number_, {"Mills"}, {"INBOX"});
    goOn();
    expectIn({"Mills", "Snooze"}, "both");
    proxy_->goDown();
    label("Snooze", {"INBOX"}, {"Snooze"});
    server_->label(number_, {"INBOX"}, {"Snooze"});
    goOn();
    expectIn({"INBOX", "Mills"}, "the same");
    // It is in the trash: what was to be done to it is settled by that.
    proxy_->goDown();
    label("INBOX", {"Snooze"}, {"INBOX"});
    server_->trash(number_);
    goOn();
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Trash"));
    EXPECT_THAT(server_->mailboxesOf(number_), ElementsAre(GmailMail::kTrash));
    EXPECT_THAT(added_, IsEmpty());
}

TEST_F(GmailLabelsTest, ChangesAreToldOfAndNewMailIsToldOfOnce) {
    label("INBOX", {"Snooze"}, {"INBOX"});
    EXPECT_EQ(labelled_, Names{"paper in ada/Snooze"});
    settle();
    labelled_.clear();
    server_->label(number_, {"INBOX"}, {"Snooze"});
    syncAll();
    ASSERT_FALSE(labelled_.empty());
    EXPECT_EQ(labelled_.back(), "paper in ada/INBOX");
    EXPECT_THAT(added_, IsEmpty());
    server_->create("Mills");
    syncAll();
    deliver("late", {"INBOX", "Mills"});
    deliver("sorted", {"Mills"});
    deliver("hidden", {});
    syncAll();
    std::sort(added_.begin(), added_.end());
    EXPECT_EQ(added_, (Names{"hidden in ada/Archive", "late in ada/INBOX", "sorted in ada/Mills"}));
}

TEST_F(GmailLabelsTest, WhatTheServerRefusesIsAsItWas) {
    server_->refuse("X-GM-LABELS.SILENT (\"Snooze\")");
    label("INBOX", {"Snooze"}, {"INBOX"});
    settle();
    goOn();
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Archive"));
    EXPECT_THAT(engine_->takeNotices(), Contains(HasSubstr("“Snooze” at the server")));
    EXPECT_THAT(server_->mailboxesOf(number_), ElementsAre(GmailMail::kAll));
}

TEST_F(GmailLabelsTest, MovesOfThePersons) {
    server_->create("Mills");
    syncAll();
    struct Case {
        const char *from, *to;
        Folders folders;
    };
    for (const Case& each :
         {Case{"INBOX", "Mills", {"Mills"}}, Case{"Mills", "Archive", {}}, Case{"Archive", "INBOX", {"INBOX"}},
          Case{"Archive", "Mills", {"INBOX", "Mills"}}, Case{"INBOX", "Archive", {"Mills"}}}) {
        const std::string what = std::string(each.from) + " to " + each.to;
        move("paper", each.from, each.to);
        settle();
        syncAll();
        expectIn(each.folders, what);
        if (HasFailure()) return;
    }
    for (const auto& [folder, mailbox] :
         std::map<std::string, std::string>{{"Trash", GmailMail::kTrash}, {"Junk", GmailMail::kJunk}}) {
        // With all its copies, when the person has chosen several of them.
        ASSERT_TRUE(library().move({id("Archive", "paper"), id("Mills", "paper")}, box(folder)));
        settle();
        EXPECT_EQ(placesHere("paper"), Names{"ada/" + folder});
        EXPECT_EQ(server_->mailboxesOf(number_), Names{mailbox});
        move("paper", folder, "Mills");
        settle();
        syncAll();
        expectIn({"Mills"}, "back from " + folder);
    }
    EXPECT_THAT(server_->numbers(), SizeIs(1));
}

TEST_F(GmailLabelsTest, ARemovedLabelTakesNoMessageWithIt) {
    server_->create("Mills");
    server_->label(number_, {"Mills"});
    syncAll();
    for (const bool isMadeAgain : {false, true}) {
        SCOPED_TRACE(isMadeAgain ? "made again" : "new mail came into it");
        proxy_->goDown();
        ASSERT_TRUE(library().removeMailbox(box("Mills")));
        if (isMadeAgain) {
            ASSERT_TRUE(library().createMailbox("ada", "Mills"));
        } else {
            deliver("late", {"Mills"});
        }
        goOn();
        settle();
        syncAll();
        expectPlaces({"INBOX"});
        EXPECT_EQ(here("Mills"), isMadeAgain ? Lines() : Lines{"late"});
        EXPECT_EQ(placesHere("late"), isMadeAgain ? Names{"ada/Archive"} : (Names{"ada/Archive", "ada/Mills"}));
        server_->label(number_, {"Mills"});
        syncAll();
    }
    ASSERT_TRUE(library().removeMailbox(box("Mills")));
    settle();
    syncAll();
    expectPlaces({"INBOX"});
}

TEST_F(GmailLabelsTest, WhatIsThrownAwayElsewhereMeanwhileIsNotPutThereAnew) {
    proxy_->goDown();
    label("INBOX", {"Snooze"}, {"INBOX"});
    server_->trash(number_);
    goOn();
    EXPECT_THAT(server_->mailboxesOf(number_), ElementsAre(GmailMail::kTrash));
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Trash"));
}

TEST_F(GmailLabelsTest, WhatIsErasedOrLeavesTheAccountGoesWithAllThatShowsItAtOnce) {
    ASSERT_TRUE(engine_->accounts().put({.identifier = "ben", .displayName = "Ben", .identities = {{"", "b@x.org"}}}));
    NotificationCenter::defaultCenter().post(MailAccountsDidChangeNotification);
    library().accountsDidChange();
    deliver("gone", {"INBOX", "Snooze"});
    deliver("trashed", {"INBOX", "Snooze"});
    syncAll();
    proxy_->goDown();
    const auto bens = library().mailboxWithIdentifier("ben/INBOX");
    ASSERT_TRUE(library().move({id("INBOX", "paper")}, *bens));
    erase("Snooze", "gone");
    move("trashed", "Snooze", "Trash");
    erase("Trash", "trashed");
    loop_->advance(0.1);
    EXPECT_EQ(placesHere("paper"), Names{"ben/INBOX"});
    for (const char* folder : {"INBOX", "Archive", "Snooze", "Trash"})
        EXPECT_THAT(here(folder), IsEmpty()) << folder;
    settle();
    goOn();
    syncAll();
    EXPECT_THAT(server_->numbers(), IsEmpty());
    EXPECT_EQ(placesHere("paper"), Names{"ben/INBOX"});
    for (const char* folder : {"INBOX", "Archive", "Snooze", "Trash"})
        EXPECT_THAT(here(folder), IsEmpty()) << folder;
}

TEST_F(GmailLabelsTest, FlagsAreOfAllCopiesAndErasingIsForGood) {
    flag("INBOX", "paper", {.seen = true, .flagged = true});
    EXPECT_THAT(here("Archive"), ElementsAre("paper SF"));
    settle();
    EXPECT_EQ(server_->flagsOf(number_), (std::set<std::string>{"\\Flagged", "\\Seen"}));
    server_->setFlags(number_, {"\\Answered"});
    syncAll();
    for (const char* folder : {"INBOX", "Archive"})
        EXPECT_THAT(here(folder), ElementsAre("paper R")) << folder;
    erase("INBOX", "paper");
    settle();
    syncAll();
    EXPECT_THAT(placesHere("paper"), IsEmpty());
    EXPECT_THAT(server_->numbers(), IsEmpty());
}

}  // namespace qs
