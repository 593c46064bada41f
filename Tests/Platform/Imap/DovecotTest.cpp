// The IMAP line against a real server.
#include <algorithm>
#include <thread>

#include "ImapFixture.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Content = ImapFetch::Content;

std::string mail(const std::string& id, const std::string& text = "Good day\r\n") {
    return "From: sam@example.org\r\nSubject: " + id + "\r\nMessage-Id: <" + id + "@x>\r\n\r\n" + text;
}

class Dovecot : public ImapTest {
protected:
    static void SetUpTestSuite() { server_ = std::make_unique<DovecotServer>(); }
    static void TearDownTestSuite() { server_.reset(); }

    ImapServer open() { return account(server_->port(), TransportSecurity::None); }
    ImapServer secured(const DovecotServer& server, TransportSecurity security) {
        ImapServer result = account(security == TransportSecurity::Tls ? server.tlsPort() : server.port(), security);
        result.certificateAuthorities = server.authority().write(folder_ / "authority.pem").string();
        return result;
    }

    // A connection with a mailbox of this test's own selected, which holds messages with the ids "1", "2", ...
    std::unique_ptr<ImapConnection> withMessages(int count) {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        mailbox_ = ImapMailboxName::fromText(name);
        for (int i = 1; i <= count; ++i)
            server_->deliver("ada", mail(std::to_string(i)), name, "S");
        return another();
    }
    std::unique_ptr<ImapConnection> another() {
        auto connection = std::make_unique<ImapConnection>(open());
        connection->setUpdateHandler([this](const ImapUpdate& update) { updates_.push_back(update); });
        const auto opened = connection->open(password());
        EXPECT_TRUE(opened) << sentence(opened) << server_->log();
        if (const auto selected = connection->select(mailbox_); selected) selection_ = *selected;
        return connection;
    }

    std::vector<ImapMessage> fetched(ImapConnection& connection, const ImapUidSet& uids, const ImapFetch& what = {}) {
        std::vector<ImapMessage> messages;
        const auto done = connection.fetch(uids, what, [&](ImapMessage m) { messages.push_back(std::move(m)); });
        EXPECT_TRUE(done) << sentence(done);
        return messages;
    }

    static ImapUidSet uidsOf(const std::vector<ImapMessage>& messages) {
        ImapUidSet uids;
        for (const ImapMessage& message : messages)
            uids.add(message.uid);
        return uids;
    }

    static inline std::unique_ptr<DovecotServer> server_;
    ImapMailboxName mailbox_ = ImapMailboxName::inbox();
    ImapSelection selection_;
    std::vector<ImapUpdate> updates_;
};

TEST_F(Dovecot, SignsInOverEveryKindOfConnection) {
    server_->deliver("ada", mail("hello"));
    ImapServer uncompressed = secured(*server_, TransportSecurity::Tls);
    uncompressed.compresses = false;
    ImapServer byName = open();
    byName.host = "localhost";
    for (const ImapServer& server : {open(), byName, secured(*server_, TransportSecurity::StartTls),
                                     secured(*server_, TransportSecurity::Tls), uncompressed}) {
        ImapConnection connection(server);
        const auto opened = connection.open(password());
        ASSERT_TRUE(opened) << sentence(opened) << server_->log();
        EXPECT_TRUE(connection.has("qresync"));
        EXPECT_TRUE(connection.has("COMPRESS=DEFLATE"));
        EXPECT_EQ(connection.serverIdentity().at("name"), "Dovecot");
        ASSERT_TRUE(connection.select(ImapMailboxName::inbox()));
        const auto messages =
            fetched(connection, ImapUidSet::all(), {.date = true, .size = true, .content = Content::Whole});
        ASSERT_FALSE(messages.empty());
        EXPECT_EQ(messages.back().content, mail("hello"));
        EXPECT_EQ(messages.back().size, mail("hello").size());
        EXPECT_TRUE(messages.back().internalDate);
        EXPECT_FALSE(hasImapFlag(*messages.back().flags, "\\Seen")) << "reading for others marks nothing as read";
        connection.close();
        EXPECT_FALSE(connection.isOpen());
        EXPECT_EQ(failureOf(connection.noop()), ImapFailure::HungUp);
    }
}

TEST_F(Dovecot, TellsAWrongPasswordFromOtherTroubles) {
    ImapConnection connection(secured(*server_, TransportSecurity::Tls));
    const auto opened = connection.open(password("wrong password"));
    EXPECT_EQ(failureOf(opened), ImapFailure::SignInRefused) << sentence(opened);
    EXPECT_EQ(imapResponseCode(opened.error()), "AUTHENTICATIONFAILED");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(failureOf(connection.open(password())), ImapFailure::HungUp) << "a connection is opened once";
}

TEST_F(Dovecot, TalksToNobodyWhoCannotProveHisName) {
    const DovecotServer elsewhere({.certificateName = "mail.example.org"});
    for (const auto security : {TransportSecurity::StartTls, TransportSecurity::Tls}) {
        ImapServer unknown = secured(*server_, security);
        unknown.certificateAuthorities.clear();
        for (const ImapServer& server : {unknown, secured(elsewhere, security)}) {
            ImapConnection connection(server);
            const auto opened = connection.open(password());
            EXPECT_EQ(failureOf(opened), ImapFailure::NotTrusted) << sentence(opened);
        }
    }
}

TEST_F(Dovecot, ListsMakesRenamesAndRemovesMailboxes) {
    ImapConnection connection(open());
    ASSERT_TRUE(connection.open(password()));
    const auto named = [](const char* text) { return ImapMailboxName::fromText(text); };
    ASSERT_TRUE(connection.create(named("Ärger & Büro/2026")));
    EXPECT_EQ(imapResponseCode(connection.create(named("Ärger & Büro/2026")).error()), "ALREADYEXISTS");
    ASSERT_TRUE(connection.rename(named("Ärger & Büro/2026"), named("日本/a\"b\\c")));
    ASSERT_TRUE(connection.subscribe(named("日本/a\"b\\c")));
    const auto list = connection.list();
    ASSERT_TRUE(list) << sentence(list);
    const auto find = [&](const ImapMailboxName& name) {
        const auto found =
            std::find_if(list->begin(), list->end(), [&](const auto& each) { return each.name == name; });
        return found == list->end() ? std::optional<ImapMailbox>() : *found;
    };
    for (const char* made : {"Junk", "Sent", "Archive", "INBOX"})
        ASSERT_TRUE(find(named(made))) << made;
    const auto renamed = find(named("日本/a\"b\\c"));
    ASSERT_TRUE(renamed);
    EXPECT_EQ(renamed->name.text(), "日本/a\"b\\c");
    EXPECT_EQ(renamed->delimiter, '/');
    EXPECT_TRUE(renamed->isSubscribed && renamed->isSelectable);
    EXPECT_FALSE(find(named("Ärger & Büro/2026")));
    EXPECT_EQ(find(named("Junk"))->use, ImapUse::Junk);
    EXPECT_EQ(find(named("Sent"))->use, ImapUse::Sent);
    EXPECT_EQ(find(named("Archive"))->use, ImapUse::Archive);
    EXPECT_FALSE(find(named("Archive"))->isSubscribed);
    EXPECT_TRUE(find(named("Sent"))->isSubscribed);
    EXPECT_EQ(find(ImapMailboxName::inbox())->use, ImapUse::None);
    ASSERT_TRUE(connection.remove(named("日本/a\"b\\c")));
    EXPECT_EQ(failureOf(connection.status(named("日本/a\"b\\c"))), ImapFailure::Refused);
    EXPECT_TRUE(connection.isOpen());
    EXPECT_EQ(failureOf(connection.create(ImapMailboxName::fromWire(std::string("a\0b", 3)))),
              ImapFailure::NotAccepted);
    const auto spaces = connection.namespaces();
    ASSERT_TRUE(spaces);
    EXPECT_EQ(spaces->personal.at(0).delimiter, '/');
}

TEST_F(Dovecot, CountsWithoutSelecting) {
    const auto connection = withMessages(2);
    ASSERT_TRUE(connection->select(ImapMailboxName::inbox()));
    server_->deliver("ada", mail("3"), mailbox_.wire());
    const auto status = connection->status(mailbox_);
    ASSERT_TRUE(status) << sentence(status);
    EXPECT_EQ(status->messages, 3u);
    EXPECT_EQ(status->unseen, 1u);
    EXPECT_EQ(status->uidNext, 4u);
    EXPECT_EQ(status->uidValidity, selection_.uidValidity);
    EXPECT_GT(status->highestModSeq, 0u);
}

TEST_F(Dovecot, FetchesWhatIsAskedFor) {
    const auto connection = withMessages(3);
    EXPECT_EQ(selection_.messages, 3u);
    EXPECT_EQ(selection_.uidNext, 4u);
    EXPECT_TRUE(selection_.takesNewKeywords);
    EXPECT_FALSE(selection_.isReadOnly);
    const auto headers = fetched(*connection, {1, 3, 99}, {.flags = false, .content = Content::Header});
    EXPECT_EQ(uidsOf(headers), (ImapUidSet{1, 3}));
    const std::string whole = mail("1");
    EXPECT_EQ(headers.at(0).content, whole.substr(0, whole.find("\r\n\r\n") + 4));
    EXPECT_FALSE(headers.at(0).flags || headers.at(0).size || headers.at(0).internalDate);
    EXPECT_THAT(fetched(*connection, {99}), IsEmpty());
    EXPECT_THAT(updates_, IsEmpty()) << "answers are no news";
    EXPECT_TRUE(connection->examine(mailbox_)->isReadOnly);
}

TEST_F(Dovecot, SearchesByIdAndDay) {
    const auto connection = withMessages(3);
    EXPECT_EQ(connection->search({}).value(), ImapUidSet::range(1, 3));
    EXPECT_EQ(connection->search({.messageId = "<2@x>"}).value(), ImapUidSet{2});
    EXPECT_TRUE(connection->search({.messageId = "<9@x>"})->isEmpty());
    EXPECT_EQ(connection->search({.since = Date{86'400}}).value(), ImapUidSet::range(1, 3));
    EXPECT_TRUE(connection->search({.since = Date{4'000'000'000}})->isEmpty());
}

TEST_F(Dovecot, ChangesFlagsAndLeavesWhatOthersChanged) {
    const auto connection = withMessages(3);
    const auto flagsOf = [&](std::uint32_t uid) { return fetched(*connection, {uid}).at(0).flags.value(); };
    ASSERT_TRUE(connection->store({1, 2}, ImapChange::Add, {"\\Flagged", "$Forwarded"}));
    EXPECT_THAT(flagsOf(1), UnorderedElementsAre("\\Seen", "\\Flagged", "$Forwarded"));
    ASSERT_TRUE(connection->store({1}, ImapChange::Remove, {"\\Seen"}));
    EXPECT_THAT(flagsOf(1), UnorderedElementsAre("\\Flagged", "$Forwarded"));
    ASSERT_TRUE(connection->store({1}, ImapChange::Replace, {}));
    EXPECT_THAT(flagsOf(1), IsEmpty());
    EXPECT_EQ(failureOf(connection->store({1}, ImapChange::Add, {"no flag"})), ImapFailure::NotAccepted);

    const std::uint64_t seen = fetched(*connection, {3}).at(0).modSeq;
    ASSERT_TRUE(another()->store({2}, ImapChange::Add, {"\\Answered"}));
    const auto left = connection->store({2, 3}, ImapChange::Add, {"\\Deleted"}, seen + 1);
    ASSERT_TRUE(left) << sentence(left);
    EXPECT_EQ(*left, ImapUidSet{2});
    EXPECT_FALSE(hasImapFlag(flagsOf(2), "\\Deleted"));
    EXPECT_TRUE(hasImapFlag(flagsOf(3), "\\deleted"));
}

TEST_F(Dovecot, CopiesMovesAndExpungesByUid) {
    const auto connection = withMessages(4);
    const ImapMailboxName target = ImapMailboxName::fromText("Ziel für Kopien");
    EXPECT_EQ(imapResponseCode(connection->copy({1}, target).error()), "TRYCREATE");
    ASSERT_TRUE(connection->create(target));
    const auto copied = connection->copy({3, 1}, target);
    ASSERT_TRUE(copied) << sentence(copied);
    EXPECT_THAT(copied->source, ElementsAre(1u, 3u));
    EXPECT_THAT(copied->target, ElementsAre(1u, 2u));
    EXPECT_EQ(copied->uidValidity, connection->status(target)->uidValidity);
    const auto moved = connection->move({2}, target);
    ASSERT_TRUE(moved) << sentence(moved);
    EXPECT_THAT(moved->source, ElementsAre(2u));
    EXPECT_THAT(moved->target, ElementsAre(3u));

    ASSERT_TRUE(connection->store({3, 4}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(connection->expunge({1, 4}));
    EXPECT_EQ(connection->search({}).value(), (ImapUidSet{1, 3})) << "what others have marked stays";
}

TEST_F(Dovecot, AppendsWithFlagsAndDate) {
    const auto connection = withMessages(1);
    const std::string large = mail("large", std::string(3'000'000, 'x') + "\r\n");
    const auto appended = connection->append(mailbox_, SizedSource(large), {"\\Seen", "\\Draft"}, Date{837'596'665});
    ASSERT_TRUE(appended) << sentence(appended);
    EXPECT_EQ(appended->uidValidity, selection_.uidValidity);
    const auto messages = fetched(*connection, {appended->uid}, {.date = true, .content = Content::Whole});
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0].content == large);
    EXPECT_EQ(messages[0].internalDate, Date{837'596'665});
    EXPECT_TRUE(hasImapFlag(*messages[0].flags, "\\Draft"));
    EXPECT_EQ(imapResponseCode(connection->append(ImapMailboxName::fromText("Nowhere"), SizedSource("x")).error()),
              "TRYCREATE");
    const SizedSource broken{10,
                             [](char*, std::size_t) -> Result<std::size_t> { return failure("test", 1, "no disk"); }};
    EXPECT_EQ(failureOf(connection->append(mailbox_, broken)), ImapFailure::Source);
    EXPECT_EQ(another()->search({}).value(), ImapUidSet::range(1, 2)) << "half a message is none";
}

TEST_F(Dovecot, GivesAMessageInPieces) {
    const auto connection = withMessages(1);
    const std::string text = mail("large", std::string(100'000, 'x') + "\r\n");
    server_->deliver("ada", text, mailbox_.wire());
    ASSERT_TRUE(connection->noop());
    std::string whole;
    for (const std::uint64_t start : {std::uint64_t{0}, std::uint64_t{60'000}, std::uint64_t{120'000}}) {
        const auto pieces =
            fetched(*connection, {2}, {.content = Content::Piece, .pieceStart = start, .pieceBytes = 60'000});
        ASSERT_EQ(pieces.size(), 1u) << start;
        whole += *pieces[0].content;
    }
    EXPECT_TRUE(whole == text) << "and nothing behind its end";
}

TEST_F(Dovecot, TellsWhatAnotherClientDid) {
    const auto connection = withMessages(3);
    const auto other = another();
    ASSERT_TRUE(other->store({1}, ImapChange::Add, {"\\Flagged"}));
    ASSERT_TRUE(other->store({2}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other->expunge({2}));
    server_->deliver("ada", mail("4"), mailbox_.wire());
    updates_.clear();
    ASSERT_TRUE(connection->noop());
    const auto update = [&](ImapUpdate::Kind kind) {
        const auto found =
            std::find_if(updates_.begin(), updates_.end(), [&](const auto& u) { return u.kind == kind; });
        return found == updates_.end() ? ImapUpdate{} : *found;
    };
    EXPECT_EQ(update(ImapUpdate::Kind::Vanished).uids, ImapUidSet{2});
    EXPECT_EQ(update(ImapUpdate::Kind::Exists).number, 3u);
    const ImapMessage changed = update(ImapUpdate::Kind::Changed).message;
    EXPECT_EQ(changed.uid, 1u);
    EXPECT_TRUE(changed.flags && hasImapFlag(*changed.flags, "\\Flagged"));
}

TEST_F(Dovecot, CatchesUpAfterATimeAway) {
    auto connection = withMessages(5);
    const ImapKnownState known{selection_.uidValidity, selection_.highestModSeq, ImapUidSet::range(1, 5)};
    connection->close();
    const auto other = another();
    ASSERT_TRUE(other->store({4}, ImapChange::Add, {"\\Answered"}));
    ASSERT_TRUE(other->store({2, 3}, ImapChange::Add, {"\\Deleted"}));
    ASSERT_TRUE(other->expunge({2, 3}));

    connection = another();
    const auto selected = connection->select(mailbox_, known);
    ASSERT_TRUE(selected) << sentence(selected);
    EXPECT_TRUE(selected->tellsChanges);
    EXPECT_EQ(selected->messages, 3u);
    EXPECT_EQ(selected->vanished, ImapUidSet::range(2, 3));
    ASSERT_EQ(selected->changed.size(), 1u);
    EXPECT_EQ(selected->changed[0].uid, 4u);
    EXPECT_TRUE(hasImapFlag(*selected->changed[0].flags, "\\Answered"));
    EXPECT_GT(selected->changed[0].modSeq, known.modSeq);

    updates_.clear();
    const auto changed = fetched(*connection, ImapUidSet::all(), {.changedSince = known.modSeq, .tellsVanished = true});
    EXPECT_EQ(uidsOf(changed), ImapUidSet{4});
    ASSERT_EQ(updates_.size(), 1u);
    EXPECT_TRUE(updates_[0].isEarlier);
    EXPECT_EQ(updates_[0].uids, ImapUidSet::range(2, 3));

    ImapKnownState anotherLife = known;
    ++anotherLife.uidValidity;
    EXPECT_FALSE(connection->select(mailbox_, anotherLife)->tellsChanges);
}

TEST_F(Dovecot, IdlesUntilSomethingHappens) {
    const auto connection = withMessages(1);
    connection->wake();
    EXPECT_EQ(connection->idle().value(), ImapConnection::IdleEnd::Woken);
    std::thread waker([&] { connection->wake(); });
    EXPECT_EQ(connection->idle().value(), ImapConnection::IdleEnd::Woken);
    waker.join();

    std::thread sender([this] { server_->deliver("ada", mail("2"), mailbox_.wire()); });
    const auto ended = connection->idle();
    sender.join();
    ASSERT_TRUE(ended) << sentence(ended);
    EXPECT_EQ(*ended, ImapConnection::IdleEnd::Update);
    EXPECT_THAT(updates_, Contains(Field(&ImapUpdate::number, 2u)));
    EXPECT_EQ(connection->search({}).value(), ImapUidSet::range(1, 2)) << "the connection goes on";

    std::thread canceller([&] { connection->cancel(); });
    EXPECT_EQ(failureOf(connection->idle()), ImapFailure::Cancelled);
    canceller.join();
    EXPECT_FALSE(connection->isOpen());
}

TEST_F(Dovecot, NoticesThatTheServerWentDown) {
    DovecotServer server;
    ImapConnection connection(account(server.port(), TransportSecurity::None));
    ASSERT_TRUE(connection.open(password()));
    server.stop();
    const auto ended = connection.noop();
    EXPECT_EQ(failureOf(ended), ImapFailure::HungUp) << sentence(ended);
    ImapConnection late(account(server.port(), TransportSecurity::None));
    EXPECT_EQ(failureOf(late.open(password())), ImapFailure::NotReachable);
    server.restart();
    ImapConnection again(account(server.port(), TransportSecurity::None));
    EXPECT_TRUE(again.open(password()));
}

}  // namespace
}  // namespace qs
