#include "Imap/SyncPlan.h"

#include <gmock/gmock.h>

#include "Imap/AccountSync.h"
#include "Imap/MailboxNames.h"
#include "Imap/ServerFlags.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

namespace {

constexpr int kSeen = 1, kAnswered = 2, kFlagged = 4;
constexpr int kGreen = 3 << 8, kBlue = 4 << 8;

std::vector<std::uint32_t> uidsOf(const std::vector<MirroredMessage>& messages) {
    std::vector<std::uint32_t> uids;
    for (const MirroredMessage& each : messages)
        uids.push_back(each.uid);
    return uids;
}

}  // namespace

TEST(SyncPlan, MergesFlagsOfBothSides) {
    struct Case {
        const char* why;
        int agreed, there, here;
        int set, clear;            // here, at once
        int setThere, clearThere;  // afterwards
    };
    for (const Case& c :
         {Case{"nothing changed", kSeen, kSeen, kSeen, 0, 0, 0, 0}, Case{"read there", 0, kSeen, 0, kSeen, 0, 0, 0},
          Case{"read here", 0, 0, kSeen, 0, 0, kSeen, 0}, Case{"unread there", kSeen, 0, kSeen, 0, kSeen, 0, 0},
          Case{"both did the same", 0, kSeen, kSeen, 0, 0, 0, 0},
          Case{"each something else", 0, kFlagged, kAnswered, kFlagged, 0, kAnswered, 0},
          Case{"opposite: ours holds", kSeen, kSeen | kFlagged, 0, kFlagged, 0, 0, kSeen},
          Case{"two colours: ours holds, whole", kFlagged, kFlagged | kGreen, kFlagged | kBlue, 0, 0, kBlue, kGreen}}) {
        const ServerView server{.flags = {{7, c.there}}, .isComplete = true, .vanished = {}};
        MessagesHere here{{"seven", c.here}};
        const PullPlan pull = planPull({{7, "seven", c.agreed}}, server, here);
        const FlagBits bits = pull.flagsHere.empty() ? FlagBits() : pull.flagsHere.at("seven");
        EXPECT_EQ(std::make_pair(bits.set, bits.clear), std::make_pair(c.set, c.clear)) << c.why;
        here["seven"] = (c.here | bits.set) & ~bits.clear;
        const PushPlan push = planPush({{7, "seven", c.there}}, here, nullptr);
        if (c.setThere == 0 && c.clearThere == 0)
            EXPECT_THAT(push.flagsThere, IsEmpty()) << c.why;
        else
            EXPECT_THAT(push.flagsThere, ElementsAre(Pair(Pair(c.setThere, c.clearThere), ImapUidSet{7}))) << c.why;
    }
}

TEST(SyncPlan, TakesTheServersWordForWhatIsGoneAndNew) {
    const std::vector<MirroredMessage> known{{1, "one", 0}, {2, "two", 0}, {3, "three", 0}};
    const MessagesHere here{{"one", kSeen}, {"two", 0}};
    for (const bool isComplete : {true, false}) {
        const ServerView server = isComplete ? ServerView{{{1, 0}, {8, 0}, {9, 0}}, true, {}}
                                             : ServerView{{{8, 0}, {9, 0}}, false, {2, 3, 5}};
        const PullPlan plan = planPull(known, server, here);
        EXPECT_THAT(plan.forget, ElementsAre(2, 3));
        EXPECT_THAT(plan.drop, ElementsAre("two"));
        EXPECT_THAT(uidsOf(plan.gone), ElementsAre(3)) << "it was not here: somebody was moving it";
        EXPECT_THAT(plan.arrived, ElementsAre(9, 8)) << "newest first";
    }
    EXPECT_THAT(planPull(known, {{}, false, {}}, here).forget, IsEmpty()) << "silence is no removal";
}

TEST(SyncPlan, AgreesOnNoFlagsOfWhatIsElsewhere) {
    const ServerView server{.flags = {{7, kSeen}}, .isComplete = false, .vanished = {}};
    const PullPlan moved = planPull({{7, "seven", 0}}, server, {});
    EXPECT_THAT(moved.agreed, IsEmpty()) << "they would be taken for ours, and be put back";
    EXPECT_FALSE(moved.isWhole) << "the server has to tell it again";
    EXPECT_TRUE(planPull({{7, "seven", 0}}, server, {{"seven", 0}}).isWhole);
}

TEST(SyncPlan, TellsWhereMissingMessagesWent) {
    using Kind = Whereabouts::Kind;
    const std::map<std::string, Whereabouts> places{{"erased", {Kind::Erased, {}}},
                                                    {"moved", {Kind::Moved, "Archive"}},
                                                    {"arrived", {Kind::Arrived, "Archive"}},
                                                    {"lost", {Kind::Nowhere, {}}},
                                                    {"perhaps", {Kind::Unknown, {}}}};
    const PushPlan plan = planPush(
        {{1, "erased", 0}, {2, "moved", 0}, {3, "arrived", 0}, {4, "lost", 0}, {5, "here", 0}, {6, "perhaps", 0}},
        {{"here", 0}, {"new", 0}}, [&](const std::string& name) { return places.at(name); });
    EXPECT_THAT(uidsOf(plan.expunge), ElementsAre(1, 3));
    EXPECT_THAT(plan.moves, ElementsAre(Pair("Archive", ::testing::SizeIs(1))));
    EXPECT_THAT(uidsOf(plan.fetchAgain), ElementsAre(4)) << "without an order nothing is removed at the server";
    EXPECT_THAT(plan.onlyHere, ElementsAre("new"));
    EXPECT_THAT(plan.flagsThere, IsEmpty());
}

TEST(ServerFlags, ComeBackAsTheyWent) {
    for (const int packed : {0, kSeen, kFlagged | kGreen, 127 | (6 << 8)})
        EXPECT_EQ(packedFromServer(serverFlags(packed)), packed);
    EXPECT_EQ(packedFromServer({"\\SEEN", "$junk", "\\Recent", "Work"}), kSeen | 64);
}

TEST(MailboxNames, FindFoldersForWhatServersList) {
    const auto mailbox = [](const char* text, char delimiter = '/', ImapUse use = ImapUse::None) {
        return ImapMailbox{.name = ImapMailboxName::fromText(text), .delimiter = delimiter, .use = use};
    };
    struct Case {
        const char* why;
        std::vector<ImapMailbox> listed;
        std::string prefix;
        std::vector<MirroredMailbox> kept;
        std::map<std::string, std::string> folders;  // by folder: the server's name as people read it
    };
    const std::vector<Case> cases{
        {"by use, whatever the name",
         {mailbox("INBOX"), mailbox("Gesendet", '/', ImapUse::Sent), mailbox("Sent")},
         "",
         {},
         {{"", "INBOX"}, {"Sent", "Gesendet"}, {"Sent 2", "Sent"}}},
        {"by name where no use is told",
         {mailbox("INBOX", '.'), mailbox("INBOX.Sent Items", '.'), mailbox("INBOX.Spam", '.')},
         "INBOX.",
         {},
         {{"", "INBOX"}, {"Sent", "INBOX.Sent Items"}, {"Junk", "INBOX.Spam"}}},
        {"levels and foreign letters",
         {mailbox("inbox"), mailbox("Straßen/Nord")},
         "",
         {},
         {{"", "inbox"}, {"Stra&AN8-en.Nord", "Straßen/Nord"}}},
        {"all mail is the archive; what only gathers is left out",
         {mailbox("INBOX"), mailbox("All", '/', ImapUse::All), mailbox("Starred", '/', ImapUse::Flagged)},
         "",
         {},
         {{"", "INBOX"}, {"Archive", "All"}}},
        {"the outbox is ours", {mailbox("INBOX"), mailbox("Outbox")}, "", {}, {{"", "INBOX"}, {"Outbox 2", "Outbox"}}},
        {"what was kept stays",
         {mailbox("INBOX"), mailbox("Old", '/', ImapUse::Sent), mailbox("New", '/', ImapUse::Sent)},
         "",
         {{.folder = "Letters", .serverName = "Old"}},
         {{"", "INBOX"}, {"Letters", "Old"}, {"Sent", "New"}}}};
    for (const Case& c : cases) {
        std::map<std::string, std::string> folders;
        for (const auto& [folder, name] : foldersFor(c.listed, c.prefix, c.kept))
            folders[folder] = name.text();
        EXPECT_EQ(folders, c.folders) << c.why;
    }
    EXPECT_EQ(serverNameFor("Stra&AN8-en.Nord", "INBOX.", '.').text(), "INBOX.Straßen.Nord");
}

TEST(RetryDelay, GrowsToALimitAndWaitsLongerWhenTheServerAsksForIt) {
    EXPECT_DOUBLE_EQ(retryDelay(1, ImapFailure::HungUp, 1), 5);
    EXPECT_DOUBLE_EQ(retryDelay(3, ImapFailure::HungUp, 1), 20);
    EXPECT_DOUBLE_EQ(retryDelay(3, ImapFailure::HungUp, 0), 10);
    EXPECT_DOUBLE_EQ(retryDelay(1, ImapFailure::Temporary, 1), 60);
    EXPECT_DOUBLE_EQ(retryDelay(1000, ImapFailure::HungUp, 1), 1800);
}

}  // namespace qs
