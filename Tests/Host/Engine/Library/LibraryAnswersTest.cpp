// What the library answers about its mail.
#include "LibraryTest.h"

#include "Application/HostInstances.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Mail/SnippetManager.h"
#include "Maildir/MaildirName.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;
using Kind = MessageCriterion::Kind;

class LibraryAnswers : public LibraryTest {};
TEST_F(LibraryAnswers, ANewAccountHasTheMailboxesThatPeopleLookFor) {
    std::filesystem::remove_all(mailFolder("ada"));
    open();
    std::vector<std::string> names;
    for (const auto& mailbox : library_->mailboxes("ada"))
        names.push_back(mailbox->displayName());
    EXPECT_THAT(names, ElementsAre("Inbox", "Drafts", "Sent", "Archive", "Junk", "Trash"));
    EXPECT_EQ(library_->mailbox("ada", MailboxKind::Outbox, false), nullptr);
    const auto outbox = library_->mailbox("ada", MailboxKind::Outbox, true);
    ASSERT_NE(outbox, nullptr);
    EXPECT_EQ(outbox, library_->mailboxWithIdentifier("ada/Outbox"));
    EXPECT_EQ(library_->mailbox("nobody", MailboxKind::Inbox, true), nullptr);
    ASSERT_THAT(library_->mailAccounts(), SizeIs(2));
    EXPECT_EQ(library_->mailAccounts()[0]->_outboxMailboxCreateIfNeeded(false), outbox);
    EXPECT_EQ(outbox->account(), library_->mailAccounts()[0]);
}

TEST_F(LibraryAnswers, MakesMailboxesWithAnyName) {
    open();
    for (const char* name : {"Lists", "Lists/kernel", "Entwürfe 2026", "v1.2"}) {
        const auto made = library_->createMailbox("ben", name);
        ASSERT_TRUE(made) << name;
        EXPECT_EQ((*made)->displayName(), name);
        EXPECT_EQ((*made)->kind(), MailboxKind::User);
    }
    EXPECT_EQ(library_->createMailbox("ben", "lists").error().code, kMailLibraryExists);
    EXPECT_EQ(library_->createMailbox("ben", "Inbox").error().code, kMailLibraryExists);
    EXPECT_EQ(library_->createMailbox("ben", "a//b").error().code, kMailLibraryInvalidName);
    EXPECT_EQ(library_->createMailbox("nobody", "x").error().code, kMailLibraryNotFound);
    open();
    for (const char* identifier : {"ben/Lists.kernel", "ben/Entw&APw-rfe 2026", "ben/v1&AC4-2"})
        EXPECT_NE(library_->mailboxWithIdentifier(identifier), nullptr) << identifier;
}

TEST_F(LibraryAnswers, SnippetsOfManyMessagesComeAtOnce) {
    open();
    HostInstances::current().library = library_;
    MessageList messages;
    for (const char* body : {"First  line\r\nand second\r\n", "", "Other"})
        messages.push_back(*library_->add(box("ada/INBOX"), std::string("Subject: Any\r\n\r\n") + body, {}, {1e9}));
    messages.insert(messages.begin() + 1, nullptr);
    const auto manager = snippet_manager::sharedInstance.onClass(NSClassFromString("MFSnippetManager"));
    const auto snippets = snippet_manager::fetchSnippetsForMessages(manager, messages);
    HostInstances::current().library.reset();
    EXPECT_THAT(snippets, UnorderedElementsAre(Pair(messages[0], "First line and second"), Pair(messages[3], "Other")));
}

TEST_F(LibraryAnswers, TellsWhatIsInAMessage) {
    open();
    const auto added = library_->add(
        box("ada/INBOX"),
        "From: =?utf-8?q?Bj=C3=B6rn?= <bjorn@example.net>\r\nTo: Ada <ada@example.org>, ben@example.org\r\n"
        "Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\n of the season\r\nDate: Sun, 22 Nov 2026 22:00:00 +0000\r\n"
        "Message-Id: <1@example.net>\r\nX-Universally-Unique-Identifier: U-1\r\nX-Priority: 1 (Highest)\r\n"
        "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
        "--b\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nFirst  line\r\nand second\r\n"
        "--b\r\nContent-Type: text/csv\r\nContent-Disposition: attachment; filename=a.csv\r\n\r\n1,2\r\n--b--\r\n",
        {.flagged = true, .colour = 3}, {1'700'000'000});
    ASSERT_TRUE(added);
    const Message& message = **added;
    EXPECT_EQ(message.subject(), "Grüße of the season");
    EXPECT_EQ(message.from(), "Björn <bjorn@example.net>");
    EXPECT_EQ(message.to(), "Ada <ada@example.org>, ben@example.org");
    EXPECT_EQ(message.messageID(), "1@example.net");
    EXPECT_EQ(message.snippet(), "First line and second");
    EXPECT_EQ(message.priority(), 1);
    EXPECT_EQ(message.numberOfAttachments(), 1);
    EXPECT_EQ(message.dateReceived(), Date{1'700'000'000});
    EXPECT_EQ(message.dateSent(), Date{1'795'384'800});
    EXPECT_EQ(message.flags(), (MessageFlags{.flagged = true, .colour = 3}));
    EXPECT_EQ(message.mailbox(), library_->mailboxWithIdentifier("ada/INBOX"));
    EXPECT_EQ(message.account()->identifier(), "ada");
    ASSERT_NE(message.headers(), nullptr);
    EXPECT_EQ(message.headers()->firstHeaderForKey("x-universally-unique-identifier"), "U-1");
    EXPECT_EQ(library_->content(message.libraryID())->size(), message.messageSize());
    EXPECT_THAT(library_->messagesWithMessageIDHeader("1@example.net"), ElementsAre(*added));
    EXPECT_THAT(library_->messagesWithMessageIDHeader(""), IsEmpty());
}

TEST_F(LibraryAnswers, PagesAreNewestFirstAndTakeEveryMessageOnce) {
    open();
    for (int i = 0; i < 25; ++i)
        add("ada/INBOX", "m" + std::to_string(i), 1'600'000'000 + (i / 3) * 60, {.seen = i % 2 == 0});
    add("ada/Sent", "other", 1'600'000'500);
    std::set<std::int64_t> seen;
    Date last{1e12};
    for (int offset = 0; offset < 30; offset += 10) {
        const auto page = library_->page(box("ada/INBOX").criterion(), "", offset, 10);
        EXPECT_EQ(page.total, 25);
        EXPECT_THAT(page.rows, SizeIs(offset < 20 ? 10 : 5));
        for (const MessageSummary& row : page.rows) {
            EXPECT_LE(row.received, last);
            last = row.received;
            EXPECT_TRUE(seen.insert(row.id).second);
        }
    }
    EXPECT_THAT(seen, SizeIs(25));
    EXPECT_EQ(library_->page({}, "", 0, 0).total, 26);
    EXPECT_EQ(box("ada/INBOX").unreadCount(), 12);
    EXPECT_EQ(box("ada/INBOX").messageCount(), 25);
    EXPECT_THAT(library_->page({}, "", -5, 3).rows, SizeIs(3));
    EXPECT_THAT(library_->page({}, "", 1000, 3).rows, IsEmpty());
}

TEST_F(LibraryAnswers, LongListsAreReadFromAnyPlace) {
    open();
    for (int i = 0; i < 60; ++i)
        add(i % 4 == 0 ? "ada/Sent" : "ada/INBOX", "m" + std::to_string(i), 1'600'000'000 + i / 5,
            {.seen = i % 3 == 0});
    const auto unread = MessageCriterion::with(Kind::IsUnread);
    for (const auto& [criterion, search] : {std::pair{box("ada/INBOX").criterion(), ""},
                                            {MessageCriterion{}, ""},
                                            {unread, ""},
                                            {MessageCriterion{}, "hopper"}}) {
        const auto all = library_->page(criterion, search, 0, 100).rows;
        const auto ids = library_->ids(criterion, search, 100);
        ASSERT_EQ(ids.size(), all.size());
        for (int offset = 0; offset < static_cast<int>(all.size()); offset += 7)
            for (int known = 0; known < static_cast<int>(all.size()); known += 9) {
                const ListPlace place{known, all[static_cast<std::size_t>(known)].key};
                const auto page = library_->page(criterion, search, offset, 3, place);
                ASSERT_FALSE(page.rows.empty());
                for (std::size_t i = 0; i < page.rows.size(); ++i)
                    EXPECT_EQ(page.rows[i].id, ids[static_cast<std::size_t>(offset) + i])
                        << offset << " from " << known;
            }
    }
    EXPECT_THAT(library_->ids({}, "", 5), SizeIs(5));
}

TEST_F(LibraryAnswers, ManyMessagesOfOneDateKeepTheirPlaces) {
    open();
    std::vector<std::int64_t> added;
    for (int i = 0; i < 12; ++i)
        added.push_back(add("ada/INBOX", "same", 1'600'000'000));
    ASSERT_TRUE(library_->erase({added[11], added[3]}));
    added.erase(added.begin() + 11);
    added.erase(added.begin() + 3);
    added.push_back(add("ada/INBOX", "same", 1'600'000'000));
    std::reverse(added.begin(), added.end());
    EXPECT_EQ(library_->ids(box("ada/INBOX").criterion(), "", 100), added);
    EXPECT_THAT(searching("same"), SizeIs(11));
}

TEST_F(LibraryAnswers, ConversationsAreMadeOfWhatMessagesAnswer) {
    open();
    int date = 100;
    const auto mail = [&](const char* subject, const char* headers) {
        return add("ada/INBOX", subject, ++date, {}, headers);
    };
    const auto subjectsWith = [&](std::int64_t id, int limit = 100) {
        std::vector<std::string> found;
        for (const MessageSummary& row : library_->conversation(id, limit))
            found.push_back(row.subject);
        return found;
    };
    const auto plan = mail("Plan", "Message-Id: <1@x>\r\n");
    const auto answer = mail("Re: Plan", "Message-Id: <2@x>\r\nIn-Reply-To: <1@x>\r\n");
    const auto namesake = mail("Re: Plan", "Message-Id: <9@x>\r\n");
    EXPECT_THAT(subjectsWith(plan), ElementsAre("Plan", "Re: Plan"));
    EXPECT_THAT(subjectsWith(namesake), ElementsAre("Re: Plan")) << "the subject alone says nothing";
    // Its last message comes first, the one in between never.
    const auto late = mail("Late", "Message-Id: <5@x>\r\nReferences: <3@x> <4@x>\r\n");
    EXPECT_THAT(subjectsWith(late), ElementsAre("Late"));
    const auto middle = mail("Middle", "Message-Id: <3@x>\r\nReferences: <1@x> <2@x>\r\n");
    EXPECT_THAT(subjectsWith(late), ElementsAre("Plan", "Re: Plan", "Late", "Middle"));
    EXPECT_THAT(subjectsWith(late, 2), ElementsAre("Late", "Middle"));
    // Known by way of what was joined.
    ASSERT_TRUE(library_->move({mail("Last", "In-Reply-To: <4@x>\r\n")}, box("ada/Archive")));
    EXPECT_THAT(subjectsWith(answer), SizeIs(5));
    ASSERT_TRUE(library_->erase({middle}));
    EXPECT_THAT(subjectsWith(plan), SizeIs(4));
    EXPECT_THAT(subjectsWith(middle), IsEmpty());
    EXPECT_THAT(subjectsWith(mail("No id", "")), ElementsAre("No id"));
    EXPECT_THAT(subjectsWith(mail("No id", "References: garbage\r\n")), ElementsAre("No id"));
}

TEST_F(LibraryAnswers, CompletesAddressesByFrequency) {
    open();
    const auto from = [&](const char* sender, const char* mailbox, int times) {
        for (int i = 0; i < times; ++i)
            ASSERT_TRUE(
                library_->add(box(mailbox), std::string("From: ") + sender + "\r\nSubject: x\r\n\r\n", {}, {100.0}));
    };
    from("Grace Hopper <grace@example.net>", "ada/INBOX", 2);
    from("hopper@example.net", "ada/INBOX", 3);
    from("Spam Hopper <spam@example.net>", "ada/Junk", 9);
    from("not an address", "ada/INBOX", 1);
    EXPECT_THAT(library_->completeAddress("hop", 5),
                ElementsAre("hopper@example.net", "Grace Hopper <grace@example.net>"));
    EXPECT_THAT(library_->completeAddress("GRACE H", 5), ElementsAre("Grace Hopper <grace@example.net>"));
    EXPECT_THAT(library_->completeAddress("grace@", 5), ElementsAre("Grace Hopper <grace@example.net>"));
    EXPECT_THAT(library_->completeAddress("hop", 1), SizeIs(1));
    for (const char* prefix : {"", "opper", "%", "not", "spam"})
        EXPECT_THAT(library_->completeAddress(prefix, 5), IsEmpty()) << prefix;
}

TEST_F(LibraryAnswers, OutboxAndDraftsShowTheirDateHeader) {
    open();
    library_->mailbox("ada", MailboxKind::Outbox, true);
    const char* const date = "Date: Sun, 22 Nov 2026 22:00:00 +0000\r\n";
    for (const char* mailbox : {"ada/Outbox", "ada/Drafts"}) {
        const auto id = add(mailbox, "planned", 100, {}, date);
        EXPECT_EQ(library_->messageWithID(id)->dateReceived(), Date{1'795'384'800}) << mailbox;
        EXPECT_EQ(library_->messageWithID(add(mailbox, "no date", 100))->dateReceived(), Date{100}) << mailbox;
        // In other mailboxes it is the time when it came.
        ASSERT_TRUE(library_->move({id}, box("ada/Archive")));
    }
    for (const MessageSummary& row : library_->page(box("ada/Archive").criterion(), "", 0, 10).rows)
        EXPECT_EQ(row.received, Date{100});
}

TEST_F(LibraryAnswers, TakesTheDeliveryTimeOfForeignMailFromItsLastServer) {
    open();
    folder_.write("Mail/ada/new/1.foreign",
                  "Received: from b by c; Sun, 22 Nov 2026 22:00:00 +0000\nReceived: from a by b; Sat, 21 Nov 2026 "
                  "22:00:00 +0000\nSubject: by server\n\n");
    const auto plain = folder_.write("Mail/ada/new/2.foreign", "Subject: by file\n\n");
    FileSystem::real().setModified(plain, {1'500'000'000});
    folder_.write("Mail/ada/new/" + MaildirName::newUnique({1'400'000'000}), "Subject: by name\n\n");
    library_->rescan("ada/INBOX");
    const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 10).rows;
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(rows[0].received, Date{1'795'384'800});
    EXPECT_EQ(rows[1].received, Date{1'500'000'000});
    EXPECT_EQ(rows[2].received, Date{1'400'000'000});
}

TEST_F(LibraryAnswers, MessagesAreTheSameObjectAsLongAsSomebodyHoldsOne) {
    open();
    const auto id = add("ada/INBOX", "one");
    auto held = library_->messageWithID(id);
    held->setAssociatedObject("note", std::string("mine"));
    EXPECT_EQ(library_->messagesMatchingCriterion({}, 0, kSearchStore), MessageList{held});
    const std::weak_ptr<Message> weak = held;
    held.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(library_->messageWithID(id)->associatedObject("note").has_value());
    EXPECT_EQ(library_->messageWithID(12345), nullptr);
}

TEST_F(LibraryAnswers, FindsTheAccountOfAMessageByItsAddresses) {
    open();
    HostInstances::current().mailAccounts = [&] { return library_->mailAccounts(); };
    struct Case {
        const char* why;
        std::vector<std::pair<const char*, const char*>> headers;
        const char* account;
    };
    for (const Case& c : {
             Case{"written with", {{"To", "ada@example.org"}, {"From", "Ben <BEN@example.org>"}}, "ben"},
             Case{"came to",
                  {{"From", "x@example.net"}, {"To", "y@example.net, \"ben@example.org\" <ada@example.org>"}},
                  "ada"},
             Case{"copied", {{"From", "x@example.net"}, {"Cc", "ada@example.org"}}, "ada"},
             Case{"a list", {{"To", "list@example.net"}, {"Delivered-To", "ben@example.org"}}, "ben"},
             Case{"of others", {{"From", "x@example.net"}, {"To", "notben@example.org"}}, ""},
         }) {
        MessageHeaders headers;
        for (const auto& [name, value] : c.headers)
            headers.append(name, value);
        const auto account = MailAccount::accountForHeaders(headers, nullptr);
        EXPECT_EQ(account ? account->identifier() : "", c.account) << c.why;
    }
    HostInstances::current().mailAccounts = nullptr;
}
}  // namespace qs
