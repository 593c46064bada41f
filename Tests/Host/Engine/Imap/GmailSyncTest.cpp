// Mail at Gmail: one message in several mailboxes.
#include "Imap/GmailFixture.h"
#include "Mail/Library.h"

namespace qs {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(GmailTest, EachTextIsFetchedOnceHoweverManyMailboxesShowIt) {
    server_->create("Mills");
    const auto paper = deliver("paper", {"INBOX", "Mills"}), old = deliver("old", {});
    const auto sent = deliver("sent", {GmailMail::kSent});
    start();
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Archive", "ada/INBOX", "ada/Mills"));
    EXPECT_THAT(placesHere("old"), ElementsAre("ada/Archive"));
    EXPECT_THAT(placesHere("sent"), ElementsAre("ada/Archive", "ada/Sent"));
    for (const auto number : {paper, old, sent})
        EXPECT_EQ(server_->timesFetched(number), 1);
    // What is new, and what another client labels, likewise.
    const auto late = deliver("late", {"INBOX", "Mills"});
    server_->label(old, {"Mills", "INBOX"});
    server_->label(paper, {}, {"INBOX"});
    syncAll();
    EXPECT_THAT(placesHere("late"), ElementsAre("ada/Archive", "ada/INBOX", "ada/Mills"));
    EXPECT_THAT(placesHere("old"), ElementsAre("ada/Archive", "ada/INBOX", "ada/Mills"));
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Archive", "ada/Mills"));
    for (const auto number : {paper, old, late})
        EXPECT_EQ(server_->timesFetched(number), 1);
    EXPECT_THAT(server_->commands(), Not(Contains(HasSubstr("APPEND"))));
}

TEST_F(GmailTest, AMailboxOfThePersonsThatIsCalledArchiveIsNotTheArchive) {
    server_->create("Archive");
    deliver("kept", {"Archive"});
    start();
    EXPECT_THAT(placesHere("kept"), ElementsAre("ada/Archive", "ada/Archive 2"));
    EXPECT_THAT(here("Archive"), ElementsAre("kept"));
}

// Gmail keeps the mailbox of all mail from mail programs when the person says so.
TEST_F(GmailTest, LabelsAreGivenInAnyMailboxThatStillHasTheMessage) {
    server_->refuse("All Mail");
    server_->create("Mills");
    server_->create("Snooze");
    const auto paper = deliver("paper", {"INBOX", "Mills"});
    start();
    server_->label(paper, {}, {"INBOX"});  // which nobody here knows
    const auto message = library().messageWithID(id("Mills", "paper"));
    library_imap_store::async_setGmailLabelsFromDictionaryUpdatingServer(
        message->mailbox()->store(), {{library().mailboxWithIdentifier("ada/Snooze")}, {}}, {message}, true);
    settle();
    EXPECT_THAT(server_->mailboxesOf(paper), ElementsAre("Mills", "Snooze", GmailMail::kAll));
    syncAll();
    EXPECT_THAT(placesHere("paper"), ElementsAre("ada/Mills", "ada/Snooze"));
}

}  // namespace qs
