// Who is told of new mail, and when.
#include "Application/HostInstances.h"
#include "Foundation/NotificationCenter.h"
#include "LibraryTest.h"
#include "MailEngine.h"
#include "Platform.h"
#include "Support/TestMachine.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct Arrival {
    std::vector<std::string> subjects;
    bool duringOpen = false;
    friend bool operator==(const Arrival&, const Arrival&) = default;
};
void PrintTo(const Arrival& arrival, std::ostream* out) {
    *out << (arrival.duringOpen ? "open:" : "new:") << ::testing::PrintToString(arrival.subjects);
}

}  // namespace

class LibraryArrivals : public LibraryTest {
protected:
    void openAs(int osMinor) {
        Platform::install({.processInfo = std::make_shared<TestMachine>(folder_.path(), osMinor)});
        open();
        // A plug-in's way: its own code instead of the host's, the host's under its name.
        Class* store = NSClassFromString("MFLibraryStore");
        const auto patch = [this](HostObject& self, const MessageList& added, const MessageList& secondary,
                                  bool duringOpen, unsigned options) {
            ASSERT_TRUE(loop_->isMainThread());
            EXPECT_EQ(&self, library_->store().get());
            Arrival arrival{{}, duringOpen};
            for (const MessageRef& message : added)
                arrival.subjects.push_back(message->subject());
            arrivals_.push_back(std::move(arrival));
            if (passesOn_) replaced_(self, added, secondary, duringOpen, options);
        };
        ASSERT_TRUE(store->add(replaced_, patch));
        const Selector original = osMinor == 10 ? library_store::messagesWereAddedConversations.selector()
                                                : library_store::messagesWereAdded.selector();
        ASSERT_TRUE(store->jr_swizzleMethod(original, replaced_.selector()));
    }
    void TearDown() override {
        LibraryTest::TearDown();
        Platform::install({});
    }

    const Operation<void(const MessageList&, const MessageList&, bool, unsigned)> replaced_{"patched:"};
    std::vector<Arrival> arrivals_;
    bool passesOn_ = true;
};

class LibraryArrivalsByVersion : public LibraryArrivals, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(OsMinor, LibraryArrivalsByVersion, ::testing::Values(10, 11, 12));

TEST_P(LibraryArrivalsByVersion, AsksTheOperationOfThatVersionFromTheLoop) {
    openAs(GetParam());
    add("ada/INBOX", "one");
    EXPECT_THAT(arrivals_, IsEmpty()) << "told at once, not by the loop";
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, ElementsAre(Arrival{{"one"}, false}));
}

TEST_F(LibraryArrivals, TellsOfDeliveriesMovesAndOutsideChangesAlike) {
    openAs(12);
    const auto one = add("ada/INBOX", "one");
    add("ada/INBOX", "two");
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, ElementsAre(Arrival{{"one", "two"}, false}));
    arrivals_.clear();
    ASSERT_TRUE(library_->move({one}, box("ben/INBOX")));
    folder_.write("Mail/ada/new/1", mail("three"));
    library_->rescan("ada/INBOX");
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, ElementsAre(Arrival{{"one", "three"}, false}));
    arrivals_.clear();
    // Nothing new in these.
    const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 1).rows;
    ASSERT_TRUE(library_->setFlags({rows.at(0).id}, {.seen = true}));
    ASSERT_TRUE(library_->erase({rows.at(0).id}));
    library_->rescan("ada/INBOX");
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, IsEmpty());
}

TEST_F(LibraryArrivals, MailFoundWhileOpeningIsSaidToBe) {
    folder_.write("Mail/ada/new/1", mail("was there"));
    openAs(12);
    add("ada/INBOX", "came");
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, ElementsAre(Arrival{{"was there"}, true}, Arrival{{"came"}, false}));
}

TEST_F(LibraryArrivals, AMessageThatIsGoneAgainIsNotTold) {
    openAs(12);
    ASSERT_TRUE(library_->erase({add("ada/INBOX", "one")}));
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, IsEmpty());
}

TEST_F(LibraryArrivals, TheHostsOwnCodePostsWhatAPlugInPassesOn) {
    openAs(12);
    Array posted;
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(MailLibraryMessagesWereAddedNotification),
        [&](const Notification& notification) { posted = notification.userInfo["messages"].array(); },
        library_->store().get());
    const auto one = add("ada/INBOX", "one");
    loop_->runUntilIdle();
    EXPECT_EQ(posted, Array{Value(one)});
    passesOn_ = false;
    add("ada/INBOX", "two");
    loop_->runUntilIdle();
    EXPECT_EQ(posted, Array{Value(one)});
}

TEST_F(LibraryArrivals, ChangesOfATurnAreOneNotice) {
    open();
    std::vector<Array> notices;
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(MailLibraryDidChangeNotification),
        [&](const Notification& notification) { notices.push_back(notification.userInfo["mailboxes"].array()); });
    loop_->runUntilIdle();
    notices.clear();
    const auto one = add("ada/INBOX", "one");
    ASSERT_TRUE(library_->setFlags({one}, {.seen = true}));
    ASSERT_TRUE(library_->move({one}, box("ben/INBOX")));
    loop_->runUntilIdle();
    EXPECT_THAT(notices, ElementsAre(Array{"ada/INBOX", "ben/INBOX"}));
    notices.clear();
    library_->rescan("ada/INBOX");
    const auto two = add("ada/INBOX", "two", 100, {.seen = true});
    loop_->runUntilIdle();
    notices.clear();
    ASSERT_TRUE(library_->setFlags({two}, {.seen = true}));  // as it was
    loop_->runUntilIdle();
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(LibraryArrivals, AClosedLibraryTellsNothing) {
    openAs(12);
    add("ada/INBOX", "one");
    library_.reset();
    loop_->runUntilIdle();
    EXPECT_THAT(arrivals_, IsEmpty());
}

// With the real clock, as the watch lives on a thread of its own.
TEST(LibraryWatch, TakesUpWhatOtherProgramsDo) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const auto limit = loop->after(60, [&] { loop->stop(); });  // for a test that fails
    const ClassRegistry registry;
    const TemporaryFolder folder;
    {
        const auto book = *AccountBook::open(folder / "Accounts.plist", FileSystem::real());
        ASSERT_TRUE(book->put({.identifier = "ada", .displayName = "Ada", .identities = {{"", "ada@example.org"}}}));
    }
    const auto engine = MailEngine::open({.dataFolder = folder.path()});
    ASSERT_TRUE(engine) << engine.error().description;
    MailLibrary& library = (*engine)->library();
    const auto until = [&](std::size_t count, std::string_view mailbox) {
        return loop->runUntil([&, count] {
            const auto found = library.mailboxWithIdentifier(mailbox);
            return found && library.page(found->criterion(), "", 0, 10).rows.size() == count;
        });
    };
    // Something wakes the loop now and then, so that the condition is asked.
    const TimerRef ticks = loop->every(0.02, [] {});
    folder.write("Mail/ada/tmp/1", "Subject: one\n\n");
    std::filesystem::rename(folder / "Mail/ada/tmp/1", folder / "Mail/ada/new/1");
    EXPECT_TRUE(until(1, "ada/INBOX"));
    const auto id = library.page({}, "", 0, 1).rows.at(0).id;
    std::filesystem::rename(folder / "Mail/ada/new/1", folder / "Mail/ada/cur/1:2,S");
    EXPECT_TRUE(loop->runUntil([&] { return library.summary(id)->flags.seen; }));
    std::filesystem::remove(folder / "Mail/ada/cur/1:2,S");
    EXPECT_TRUE(until(0, "ada/INBOX"));
    std::filesystem::create_directory(folder / "Mail/ada/.Own");
    for (const char* each : {"tmp", "new", "cur"})
        std::filesystem::create_directory(folder / "Mail/ada/.Own" / each);
    folder.write("Mail/ada/.Own/cur/2:2,", "Subject: two\n\n");
    EXPECT_TRUE(until(1, "ada/Own"));
    ticks->invalidate();
}

}  // namespace qs
