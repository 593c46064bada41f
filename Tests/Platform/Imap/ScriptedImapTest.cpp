// The IMAP line against servers that no good server is like, and against Gmail's dialogue.
#include "ScriptedImap.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Script = ScriptedServer::Script;

TEST_F(ScriptedImap, GivesUpWhatGoesWrongInTheMiddle) {
    struct Case {
        const char* why;
        std::string said;
        ImapFailure failure;
        bool stalls = false;
    };
    const Case cases[] = {
        {"hangs up within a literal", "* 1 FETCH (UID 7 BODY[] {900}\r\nabc", ImapFailure::HungUp},
        {"stalls within a literal", "* 1 FETCH (UID 7 BODY[] {900}\r\nabc", ImapFailure::TimedOut, true},
        {"announces more than allowed", "* 1 FETCH (UID 7 BODY[] {4294967295}\r\nabc", ImapFailure::Malformed},
        {"never ends a line", "* OK " + std::string(9'000'000, 'x'), ImapFailure::Malformed},
        {"nests without end", "* 1 FETCH (BODYSTRUCTURE " + std::string(300'000, '('), ImapFailure::Malformed},
        {"answers another question", "a9 OK done\r\n", ImapFailure::Malformed},
        {"asks for more", "+ go on\r\n", ImapFailure::Malformed},
        {"says goodbye", "* BYE maintenance\r\n", ImapFailure::HungUp}};
    for (const Case& c : cases) {
        Script& script = signedIn().expect("a2 UID FETCH 7").sayBytes(c.said);
        if (c.stalls) script.stall();
    }
    for (const Case& c : cases) {
        patience_ = c.stalls ? 2 : 60;
        const auto connection = opened();
        int messages = 0;
        const auto done =
            connection->fetch({7}, {.content = ImapFetch::Content::Whole}, [&](const ImapMessage&) { ++messages; });
        EXPECT_EQ(failureOf(done), c.failure) << c.why << ": " << sentence(done);
        EXPECT_EQ(messages, 0) << c.why;
        EXPECT_FALSE(connection->isOpen()) << c.why;
        EXPECT_EQ(failureOf(connection->noop()), ImapFailure::HungUp) << c.why;
    }
}

TEST_F(ScriptedImap, LivesWithWhatItDoesNotKnow) {
    signedIn()
        .expect("a2 UID FETCH 7:9 (UID FLAGS)")
        .say("* X-NEWS (of \"tomorrow\" {3}")
        .say("abc) NIL")
        .say("* OK [X-CODE (a b)] Still here")
        .say("* NO [ALERT] The disk is nearly full")
        .say("* 3 FETCH (UID 7 FLAGS (\\Seen $x) EMAILID (M1) X-THING (1 (2)))")
        .say("* 4 FETCH (FLAGS ())")
        .say("* 5 FETCH (UID 12 FLAGS (\\Flagged))")
        .say("* 2 EXPUNGE")
        .say("* 17 EXISTS")
        .say("a2 OK done")
        .expect("a3 NOOP")
        .say("a3 NO [INUSE] not now")
        .expect("a4 NOOP")
        .say("a4 BAD what");
    const auto connection = opened();
    std::vector<std::uint32_t> uids;
    const auto done =
        connection->fetch(ImapUidSet::range(7, 9), {}, [&](const ImapMessage& m) { uids.push_back(m.uid); });
    ASSERT_TRUE(done) << sentence(done);
    EXPECT_THAT(uids, ElementsAre(7u));
    using Kind = ImapUpdate::Kind;
    std::vector<Kind> kinds;
    for (const ImapUpdate& update : updates_)
        kinds.push_back(update.kind);
    EXPECT_THAT(kinds, ElementsAre(Kind::Alert, Kind::Changed, Kind::Changed, Kind::Expunged, Kind::Exists));
    EXPECT_EQ(updates_[0].text, "The disk is nearly full");
    EXPECT_EQ(updates_[2].message.uid, 12u);
    EXPECT_EQ(updates_[3].number, 2u);
    EXPECT_EQ(failureOf(connection->noop()), ImapFailure::Temporary);
    EXPECT_EQ(failureOf(connection->noop()), ImapFailure::NotAccepted);
    EXPECT_TRUE(connection->isOpen());
}

TEST_F(ScriptedImap, GoesOnWithoutConveniencesThatAreRefused) {
    signedIn("COMPRESS=DEFLATE ID ENABLE QRESYNC CONDSTORE")
        .expect("a2 COMPRESS DEFLATE")
        .say("a2 NO [COMPRESSIONACTIVE] no")
        .expect("a3 ID (")
        .say("* ID NIL")
        .say("a3 BAD no")
        .expect("a4 ENABLE QRESYNC")
        .say("a4 NO no")
        .expect("a5 SELECT \"INBOX\" (CONDSTORE)")
        .say("a5 OK selected");
    const auto selected = opened()->select(ImapMailboxName::inbox(), ImapKnownState{9, 7, {1}});
    EXPECT_TRUE(selected) << sentence(selected);
}

TEST_F(ScriptedImap, DoesWithoutExtensionsOrSaysSo) {
    signedIn()
        .expect("a2 LIST \"\" \"*\"")
        .say("* LIST (\\HasNoChildren) \".\" INBOX")
        .say("* LIST (\\Noselect) NIL {9}")
        .say("Entw\xFCrfe\"")
        .say("a2 OK")
        .expect("a3 LSUB \"\" \"*\"")
        .say("* LSUB () \".\" INBOX")
        .say("a3 OK")
        .expect("a4 SELECT \"INBOX\"")
        .say("* OK [UIDVALIDITY 9] v")
        .say("a4 OK [READ-ONLY] selected")
        .expect("a5 UID SEARCH SINCE 17-Jul-1996 HEADER MESSAGE-ID \"<a@b>\"")
        .say("* SEARCH 4 2 3")
        .say("a5 OK");
    const auto connection = opened();
    const auto list = connection->list();
    ASSERT_TRUE(list) << sentence(list);
    ASSERT_EQ(list->size(), 2u);
    EXPECT_TRUE(list->at(0).isSubscribed && list->at(0).isSelectable && list->at(0).delimiter == '.');
    EXPECT_EQ(list->at(1).name.wire(), "Entw\xFCrfe\"");
    EXPECT_TRUE(!list->at(1).isSubscribed && !list->at(1).isSelectable && list->at(1).delimiter == 0);
    const auto selected = connection->select(ImapMailboxName::inbox(), ImapKnownState{9, 7, {1}});
    ASSERT_TRUE(selected) << sentence(selected);
    EXPECT_FALSE(selected->tellsChanges);
    EXPECT_TRUE(selected->isReadOnly);
    EXPECT_EQ(connection->search({.messageId = "<a@b>", .since = Date{837'596'665}}).value(), ImapUidSet::range(2, 4));
    const ImapMailboxName target = ImapMailboxName::fromText("x");
    EXPECT_EQ(failureOf(connection->move({1}, target)), ImapFailure::NotOffered);
    EXPECT_EQ(failureOf(connection->expunge({1})), ImapFailure::NotOffered);
    EXPECT_EQ(failureOf(connection->idle()), ImapFailure::NotOffered);
    EXPECT_EQ(failureOf(connection->storeGmailLabels({1}, ImapChange::Add, {target})), ImapFailure::NotOffered);
}

TEST_F(ScriptedImap, WaitsBeforeALiteralUnlessTheServerNeedsNoWaiting) {
    signedIn()
        .expect("a2 APPEND \"x\" (\\Seen) {5}")
        .say("+ go")
        .expect("abcd")
        .expectUntil("")
        .say("a2 OK [APPENDUID 3 9] in")
        .expect("a3 APPEND \"x\" {5}")
        .say("a3 NO [OVERQUOTA] full")
        .expect("a4 NOOP")
        .say("a4 OK");
    signedIn("LITERAL-")
        .expect("a2 APPEND \"x\" {5+}")
        .expect("abcd")
        .expectUntil("")
        .say("a2 OK")
        .expect("a3 APPEND \"x\" {4097}")
        .say("a3 NO [TOOBIG] no");
    const ImapMailboxName target = ImapMailboxName::fromText("x");
    auto connection = opened();
    const auto appended = connection->append(target, SizedSource("abcd\n"), {"\\Seen"});
    ASSERT_TRUE(appended) << sentence(appended);
    EXPECT_EQ(appended->uid, 9u);
    EXPECT_EQ(imapResponseCode(connection->append(target, SizedSource("abcd\n")).error()), "OVERQUOTA");
    EXPECT_TRUE(connection->noop()) << "nothing of the message was sent";
    connection = opened();
    EXPECT_EQ(connection->append(target, SizedSource("abcd\n"))->uid, 0u);
    EXPECT_EQ(imapResponseCode(connection->append(target, SizedSource(std::string(4097, 'x'))).error()), "TOOBIG");
}

TEST_F(ScriptedImap, ALargeMessageIsSentOnlyToAServerThatWantsIt) {
    signedIn("LITERAL+ APPENDLIMIT=70000")
        .expect("a2 APPEND \"x\" {60000}")
        .say("a2 NO [OVERQUOTA] full")
        .expect("a3 NOOP")
        .say("a3 OK");
    pieceBytes_ = 50'000;
    const ImapMailboxName target = ImapMailboxName::fromText("x");
    auto connection = opened();
    EXPECT_EQ(imapResponseCode(connection->append(target, SizedSource(std::string(60'000, 'x'))).error()), "OVERQUOTA");
    const auto tooLarge = connection->append(target, SizedSource(std::string(70'001, 'x')));
    EXPECT_EQ(imapResponseCode(tooLarge.error()), "TOOBIG");
    EXPECT_THAT(tooLarge.error().description, HasSubstr("takes no messages above 0.1 MB"));
    EXPECT_TRUE(connection->noop()) << "nothing of them was sent";
}

TEST_F(ScriptedImap, TellsWhichPieceOfAMessageItGot) {
    signedIn()
        .expect("a2 UID FETCH 7 (UID BODY.PEEK[]<4.4>)")
        .say("* 1 FETCH (UID 7 BODY[]<4> \"abcd\")")
        .say("a2 OK")
        .expect("a3 UID FETCH 7 (UID BODY.PEEK[]<8.4>)")
        .say("* 1 FETCH (UID 7 body[]<8> NIL)")
        .say("a3 OK")
        .expect("a4 UID FETCH 7 (UID BODY.PEEK[]<12.4>)")
        .say("* 1 FETCH (UID 7 BODY[] \"all\")")
        .say("a4 OK");
    const auto connection = opened();
    std::vector<std::string> pieces;
    for (const std::uint64_t start : {std::uint64_t{4}, std::uint64_t{8}, std::uint64_t{12}})
        ASSERT_TRUE(connection->fetch(
            {7}, {.flags = false, .content = ImapFetch::Content::Piece, .pieceStart = start, .pieceBytes = 4},
            [&](const ImapMessage& message) {
                const auto from = message.contentStart;
                pieces.push_back(*message.content + (from ? " from " + std::to_string(*from) : ""));
            }));
    EXPECT_THAT(pieces, ElementsAre("abcd from 4", "all")) << "a message that is gone has no pieces, not empty ones";
}

TEST_F(ScriptedImap, IdlesAnewBeforeTheServerLosesPatience) {
    signedIn("IDLE")
        .expect("a2 IDLE")
        .say("+ idling")
        .say("* OK Still here")
        .expect("DONE")
        .say("a2 OK")
        .expect("a3 IDLE")
        .say("* 3 EXISTS")
        .say("+ idling")
        .expect("DONE")
        .say("a3 OK");
    ImapServer server = account();
    server.limits.idleSeconds = 0.02;
    ImapConnection connection(server);
    ASSERT_TRUE(connection.open(password()));
    EXPECT_EQ(connection.idle().value(), ImapConnection::IdleEnd::Update);
}

TEST_F(ScriptedImap, EndsAConnectionThatIsCancelledBeforeItBegan) {
    ImapConnection connection(account());
    connection.cancel();
    EXPECT_EQ(failureOf(connection.open(password())), ImapFailure::Cancelled);
}

TEST_F(ScriptedImap, SpeaksGmailsExtensions) {
    signedIn("X-GM-EXT-1 UIDPLUS MOVE CONDSTORE ESEARCH SPECIAL-USE LIST-EXTENDED LITERAL- IDLE")
        .expect("a2 LIST \"\" \"*\" RETURN (SUBSCRIBED SPECIAL-USE)")
        .say("* LIST (\\HasNoChildren \\Subscribed) \"/\" \"INBOX\"")
        .say("* LIST (\\HasChildren \\NonExistent) \"/\" \"[Gmail]\"")
        .say("* LIST (\\All \\HasNoChildren) \"/\" \"[Gmail]/Alle Nachrichten\"")
        .say("* LIST (\\HasNoChildren \\Important) \"/\" \"[Gmail]/Wichtig\"")
        .say("* LIST (\\HasNoChildren \\Drafts) \"/\" \"[Gmail]/Entw&APw-rfe\"")
        .say("a2 OK Success")
        .expect("a3 SELECT \"[Gmail]/Alle Nachrichten\" (CONDSTORE)")
        .say("* FLAGS (\\Answered \\Flagged \\Draft \\Deleted \\Seen $NotPhishing $Phishing)")
        .say("* OK [PERMANENTFLAGS (\\Answered \\Flagged \\Draft \\Deleted \\Seen $NotPhishing $Phishing \\*)] ok.")
        .say("* OK [UIDVALIDITY 11] UIDs valid.")
        .say("* 5 EXISTS")
        .say("* 0 RECENT")
        .say("* OK [UIDNEXT 78] Predicted next UID.")
        .say("* OK [HIGHESTMODSEQ 9007199254740993]")
        .say("a3 OK [READ-WRITE] [Gmail]/Alle Nachrichten selected. (Success)")
        .expect("a4 UID FETCH 4 (UID FLAGS MODSEQ X-GM-MSGID X-GM-THRID X-GM-LABELS)")
        .say("* 5 FETCH (X-GM-THRID 1278455344230334865 X-GM-MSGID 18446744073709551615 X-GM-LABELS (\"\\\\Inbox\" "
             "\\Sent "
             "Important \"Muy Importante\" \"&ANw-ber\") UID 4 MODSEQ (9007199254740993) FLAGS (\\Seen))")
        .say("a4 OK Success")
        .expect("a5 UID STORE 4 +X-GM-LABELS.SILENT (\\Inbox \"Muy Importante\" \"&ANw-ber\")")
        .say("a5 OK Success")
        .expect("a6 UID SEARCH RETURN (ALL) ALL")
        .say("* ESEARCH (TAG \"a6\") UID ALL 1:4,77")
        .say("a6 OK SEARCH completed (Success)");
    const auto connection = opened();
    const auto list = connection->list();
    ASSERT_TRUE(list) << sentence(list);
    ASSERT_EQ(list->size(), 5u);
    EXPECT_FALSE(list->at(1).isSelectable);
    EXPECT_EQ(list->at(2).use, ImapUse::All);
    EXPECT_EQ(list->at(3).use, ImapUse::Important);
    EXPECT_EQ(list->at(4).name.text(), "[Gmail]/Entwürfe");
    const auto selected = connection->select(list->at(2).name);
    ASSERT_TRUE(selected) << sentence(selected);
    EXPECT_EQ(selected->highestModSeq, 9007199254740993u);
    EXPECT_TRUE(selected->takesNewKeywords);
    std::optional<ImapMessage> message;
    const auto done = connection->fetch({4}, {.gmail = true}, [&](ImapMessage m) { message = std::move(m); });
    ASSERT_TRUE(done && message) << sentence(done);
    EXPECT_EQ(message->gmailMessage, 18446744073709551615u);
    EXPECT_EQ(message->gmailThread, 1278455344230334865u);
    std::vector<std::string> labels;
    for (const ImapMailboxName& label : *message->gmailLabels)
        labels.push_back(label.text());
    EXPECT_THAT(labels, ElementsAre("\\Inbox", "\\Sent", "Important", "Muy Importante", "Über"));
    EXPECT_TRUE(
        connection->storeGmailLabels({4}, ImapChange::Add,
                                     {ImapMailboxName::fromWire("\\Inbox"), ImapMailboxName::fromText("Muy Importante"),
                                      ImapMailboxName::fromText("Über")}));
    EXPECT_EQ(connection->search({}).value().text(), "1:4,77");
}
}  // namespace
}  // namespace qs
