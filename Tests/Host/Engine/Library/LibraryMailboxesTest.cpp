// Mailboxes made, renamed and removed.
#include <cerrno>

#include "Library/LibraryTest.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LibraryMailboxesTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        open();
        for (const char* name : {"Projects", "Projects/Bridge", "Projects/Bridge/Steel", "Letters"})
            ASSERT_TRUE(library_->createMailbox("ada", name));
        add("ada/Projects", "plan");
        add("ada/Projects.Bridge.Steel", "order", 1'600'000'100, {.seen = true, .flagged = true, .colour = 3});
    }
    std::vector<std::string> names() {
        std::vector<std::string> names;
        for (const auto& mailbox : library_->mailboxes("ada"))
            if (mailbox->kind() == MailboxKind::User) names.push_back(mailbox->displayName());
        return names;
    }
    std::string rename(const std::string& identifier, const std::string& name) {
        const auto renamed = library_->renameMailbox(box(identifier), name);
        return renamed ? (*renamed)->identifier() : renamed.error().description;
    }
};

TEST_F(LibraryMailboxesTest, ARenamedMailboxTakesItsMailAndThoseBelowItAlong) {
    const auto held = library_->messageWithID(library_->page(box("ada/Projects").criterion(), {}, 0, 1).rows.at(0).id);
    EXPECT_EQ(rename("ada/Projects", "Letters/Works & Päpers"), "ada/Letters.Works &- P&AOQ-pers");
    const std::vector<std::string> expected{"Letters", "Letters/Works & Päpers", "Letters/Works & Päpers/Bridge",
                                            "Letters/Works & Päpers/Bridge/Steel"};
    const auto check = [&](const char* when) {
        EXPECT_EQ(names(), expected) << when;
        EXPECT_THAT(subjectsIn("ada/Letters.Works &- P&AOQ-pers"), ElementsAre("plan")) << when;
        const auto rows =
            library_->page(box("ada/Letters.Works &- P&AOQ-pers.Bridge.Steel").criterion(), {}, 0, 10).rows;
        ASSERT_EQ(rows.size(), 1u) << when;
        EXPECT_EQ(rows[0].flags, (MessageFlags{.seen = true, .flagged = true, .colour = 3})) << when;
        EXPECT_TRUE(library_->content(rows[0].id)) << when;
        EXPECT_THAT(searching("order"), ElementsAre("order")) << when;
    };
    check("at once");
    EXPECT_EQ(held->subject(), "plan") << "whoever holds the message still knows it";
    library_->rescan("ada/Letters.Works &- P&AOQ-pers");
    check("looked at again");
    open();
    check("after a restart");
}

TEST_F(LibraryMailboxesTest, NamesThatCannotBeAreRefusedAndNothingChanges) {
    struct Case {
        const char *mailbox, *name, *told;
    };
    const auto before = names();
    for (const Case& c : {Case{"ada/Projects", "letters", "of this name already"},
                          {"ada/Projects", "inbox", "of this name already"},
                          {"ada/Projects", "Projects/Bridge/Below", "into itself"},
                          {"ada/Projects", "Outbox", "every account has"},
                          {"ada/Projects", "a//b", "can't have this name"},
                          {"ada/Projects", "  ", "can't have this name"},
                          {"ada/Trash", "Rubbish", "needed"},
                          {"ada/INBOX", "Incoming", "needed"}})
        EXPECT_THAT(rename(c.mailbox, c.name), HasSubstr(c.told)) << c.mailbox << " to " << c.name;
    EXPECT_THAT(rename("ada/Projects", std::string(235, 'x')), HasSubstr("below it"));
    EXPECT_EQ(names(), before);
    EXPECT_EQ(rename("ada/Letters", "letters"), "ada/letters") << "only the case";
    EXPECT_EQ(rename("ada/letters", "letters"), "ada/letters") << "the same again";
}

TEST_F(LibraryMailboxesTest, ARemovedMailboxGoesWithAllBelowIt) {
    EXPECT_FALSE(library_->removeMailbox(box("ada/Trash")));
    EXPECT_EQ(library_->mailboxesBelow(box("ada/Projects")).size(), 2u);
    ASSERT_TRUE(library_->removeMailbox(box("ada/Projects")));
    EXPECT_THAT(names(), ElementsAre("Letters"));
    EXPECT_THAT(searching("order"), IsEmpty());
    loop_->advance(1);
    for (const auto& entry : std::filesystem::directory_iterator(mailFolder("ada")))
        EXPECT_THAT(entry.path().filename().string(), ::testing::Not(HasSubstr("removed-"))) << "left behind";
    // One of the same name begins anew.
    ASSERT_TRUE(library_->createMailbox("ada", "Projects"));
    EXPECT_THAT(subjectsIn("ada/Projects"), IsEmpty());
    open();
    EXPECT_THAT(names(), ElementsAre("Letters", "Projects"));
    EXPECT_THAT(subjectsIn("ada/Projects"), IsEmpty());
}

TEST_F(LibraryMailboxesTest, FilesOfARemovalThatWasCutOffGoAtTheNextStart) {
    const auto rest = mailFolder("ada") / "removed-17.M1.box" / "cur";
    std::filesystem::create_directories(rest);
    folder_.write("Mail/ada/removed-17.M1.box/cur/1:2,S", mail("late"));
    open();
    EXPECT_FALSE(std::filesystem::exists(rest.parent_path()));
    EXPECT_THAT(searching("late"), IsEmpty());
}

TEST_F(LibraryMailboxesTest, AKeeperThatCannotRememberKeepsMailboxesAsTheyAre) {
    struct Refusing : MirrorKeeper {
        static Result<void> full() { return failure("test", 1, "The disk is full."); }
        Result<void> willRemove(const std::vector<Message>& messages) override {
            EXPECT_EQ(messages.size(), 2u);
            return {};
        }
        Result<void> willChange(const std::vector<std::pair<Message, MirrorWish>>&) override { return full(); }
        Result<void> willRename(const std::string&, const std::vector<Renaming>& folders) override {
            told = folders;
            return full();
        }
        Result<void> willRemoveFolders(const std::string&, const std::vector<std::string>& folders) override {
            EXPECT_THAT(folders, ElementsAre("Projects.Bridge.Steel", "Projects.Bridge", "Projects"));
            return full();
        }
        std::map<std::string, MirrorWish> wishes(const std::string&) override { return {}; }
        void isWanted(const std::string&, const std::string&) override {}
        std::vector<Renaming> told;
    };
    const auto keeper = std::make_shared<Refusing>();
    library_->setMirrorKeeper(keeper);
    const auto before = names();
    EXPECT_EQ(rename("ada/Projects", "Works"), "The disk is full.");
    ASSERT_EQ(keeper->told.size(), 3u);
    EXPECT_EQ(keeper->told[2].to, "Works.Bridge.Steel");
    EXPECT_FALSE(library_->removeMailbox(box("ada/Projects")));
    EXPECT_EQ(names(), before);
    EXPECT_THAT(subjectsIn("ada/Projects"), ElementsAre("plan"));
}

// Changes of other programs are still seen, under the new name.
TEST_F(LibraryMailboxesTest, ARenamedMailboxIsStillWatched) {
    library_.reset();
    loop_.reset();
    loop_ = RunLoop::make(RunLoop::Clock::Real);
    open();
    library_->watchFolders();
    EXPECT_EQ(rename("ada/Letters", "Post"), "ada/Post");
    ASSERT_TRUE(library_->createMailbox("ada", "Letters"));
    const auto limit = loop_->after(30, [this] { loop_->stop(); });
    for (const char* name : {"Post", "Letters"}) {
        folder_.write("Mail/ada/." + std::string(name) + "/new/1700000000.M1." + name, mail(name));
        EXPECT_TRUE(loop_->runUntil([&] { return subjectsIn("ada/" + std::string(name)).size() == 1; })) << name;
    }
}

}  // namespace qs
