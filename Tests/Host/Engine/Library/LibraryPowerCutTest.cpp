// Power cuts and failing disks at every step of what changes mail.
#include "LibraryTest.h"
#include "Support/TornDisk.h"

namespace qs {

class LibraryPowerCut : public LibraryTest {
protected:
    // How often each message (by its text) lies in cur/ or new/ of each mailbox, and whether every file is whole.
    static std::map<std::string, int> messages(TornDisk& disk, const std::string& whole) {
        std::map<std::string, int> found;
        for (const auto& [file, content] : disk.contents()) {
            const std::filesystem::path path(file);
            const auto folder = path.parent_path().filename();
            if (folder != "cur" && folder != "new" && folder != "claimed") continue;
            EXPECT_EQ(content, whole) << file;
            std::string key = path.parent_path().parent_path().lexically_relative("/").string();
            if (folder == "claimed") key = "claimed";
            ++found[key.substr(key.rfind('/') + 1)];
        }
        return found;
    }
    void openOn(TornDisk& disk) {
        // There is no such folder on the real disk, so the index is in memory, and lost with each opening.
        dataFolder_ = "/torn";
        ASSERT_TRUE(disk.makeFolder(dataFolder_));
        open(disk);
    }
    // Runs `change` with the power cut at every step; then `check` looks at what may be left, opened anew.
    void cutEverywhere(const std::function<std::int64_t()>& prepare, const std::function<bool(std::int64_t)>& change,
                       const std::function<void(TornDisk&, bool isDone, const std::string& why)>& check) {
        for (int cut = 1;; ++cut) {
            ASSERT_LT(cut, 100);
            TornDisk disk;
            openOn(disk);
            const auto id = prepare();
            disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
            const bool isDone = change(id);
            const bool isPast = disk.steps() < cut;
            library_.reset();
            for (unsigned seed = 0; seed < 6; ++seed)
                check(*disk.afterPowerCut(seed), isDone,
                      "cut " + std::to_string(cut) + ", seed " + std::to_string(seed));
            check(*disk.afterPowerCut(), isDone, "cut " + std::to_string(cut) + ", everything unsynced lost");
            if (isPast) {
                EXPECT_TRUE(isDone);
                break;
            }
        }
    }
};

TEST_F(LibraryPowerCut, AnAddedMessageIsThereWholeOrNotAtAll) {
    const std::string whole = mail("one");
    cutEverywhere(
        [] { return 0; },
        [&](std::int64_t) { return library_->add(box("ada/INBOX"), whole, {.seen = true}, {100}, "one").has_value(); },
        [&](TornDisk& disk, bool isDone, const std::string& why) {
            const auto found = messages(disk, whole);
            EXPECT_LE(found.size(), 1U) << why;
            if (isDone) {
                EXPECT_EQ(found, (std::map<std::string, int>{{"ada", 1}})) << why;
            }
        });
}

TEST_F(LibraryPowerCut, AnAddThatIsRepeatedAddsOnce) {
    const std::string whole = mail("one");
    cutEverywhere([] { return 0; },
                  [&](std::int64_t) { return library_->add(box("ada/INBOX"), whole, {}, {100}, "one").has_value(); },
                  [&](TornDisk& disk, bool, const std::string& why) {
                      openOn(disk);
                      EXPECT_TRUE(library_->add(box("ada/INBOX"), whole, {}, {100}, "one")) << why;
                      EXPECT_EQ(library_->page({}, "", 0, 10).total, 1) << why;
                      library_.reset();
                      EXPECT_EQ(messages(disk, whole), (std::map<std::string, int>{{"ada", 1}})) << why;
                  });
}

TEST_F(LibraryPowerCut, AMovedMessageIsNeverLostAndMovingAgainSettlesIt) {
    for (const char* target : {"ada/Archive", "ben/INBOX"}) {
        const std::string whole = mail("one");
        const std::string place = std::string_view(target) == "ben/INBOX" ? "ben" : ".Archive";
        cutEverywhere([&] { return add("ada/INBOX", "one", 100, {.seen = true}); },
                      [&](std::int64_t id) { return library_->move({id}, box(target)).has_value(); },
                      [&](TornDisk& disk, bool isDone, const std::string& why) {
                          const auto found = messages(disk, whole);
                          EXPECT_GE(found.size(), 1U) << why;
                          if (isDone) {
                              EXPECT_EQ(found, (std::map<std::string, int>{{place, 1}})) << why;
                          }
                          openOn(disk);
                          for (const MessageSummary& row : library_->page(box("ada/INBOX").criterion(), "", 0, 9).rows)
                              EXPECT_TRUE(library_->move({row.id}, box(target))) << why;
                          EXPECT_EQ(library_->page({}, "", 0, 10).total, 1) << why;
                          EXPECT_TRUE(library_->page({}, "", 0, 10).rows.at(0).flags.seen) << why;
                          library_.reset();
                          EXPECT_EQ(messages(disk, whole), (std::map<std::string, int>{{place, 1}})) << why;
                      });
    }
}

TEST_F(LibraryPowerCut, FlagsAndColoursNeverCostTheMessage) {
    const std::string whole = mail("one");
    cutEverywhere([&] { return add("ada/INBOX", "one"); },
                  [&](std::int64_t id) {
                      return library_->setFlags({id}, {.seen = true, .flagged = true, .colour = 3}).has_value();
                  },
                  [&](TornDisk& disk, bool isDone, const std::string& why) {
                      // A disk may show both names of a renamed file: one message all the same.
                      EXPECT_GE(messages(disk, whole)["ada"], 1) << why;
                      openOn(disk);
                      const auto rows = library_->page({}, "", 0, 10).rows;
                      ASSERT_EQ(rows.size(), 1U) << why;
                      if (isDone) {
                          EXPECT_EQ(rows[0].flags, (MessageFlags{.seen = true, .flagged = true, .colour = 3})) << why;
                      }
                      library_.reset();
                  });
}

TEST_F(LibraryPowerCut, AClaimEndsInTheOutboxOrWithTheClaimer) {
    const std::string whole = mail("out");
    cutEverywhere(
        [&] {
            library_->mailbox("ada", MailboxKind::Outbox, true);
            return add("ada/Outbox", "out");
        },
        [&](std::int64_t id) { return library_->claim(id, mailFolder("ada") / ".Outbox/claimed").has_value(); },
        [&](TornDisk& disk, bool isDone, const std::string& why) {
            const auto found = messages(disk, whole);
            EXPECT_GE(found.size(), 1U) << why;
            if (isDone) {
                EXPECT_EQ(found, (std::map<std::string, int>{{"claimed", 1}})) << why;
            }
        });
}

TEST_F(LibraryPowerCut, AFailingDiskGivesAnErrorAndLeavesNothingHalf) {
    const std::string whole = mail("one");
    for (const auto fault : {TornDisk::Fault::Error, TornDisk::Fault::NoSpace, TornDisk::Fault::ShortWrite}) {
        for (int step = 1;; ++step) {
            TornDisk disk;
            openOn(disk);
            const auto before = disk.contents();
            disk.failAt({.step = step, .fault = fault});
            const auto added = library_->add(box("ada/INBOX"), whole, {.seen = true}, {100});
            if (disk.steps() < step) break;
            ASSERT_FALSE(added);
            EXPECT_FALSE(added.error().description.empty());
            EXPECT_EQ(disk.contents(), before) << "step " << step;
            EXPECT_EQ(library_->page({}, "", 0, 10).total, 0);
            EXPECT_TRUE(library_->add(box("ada/INBOX"), whole, {.seen = true}, {100})) << "step " << step;
        }
        for (const char* target : {"ada/Archive", "ben/INBOX"}) {
            for (int step = 1;; ++step) {
                TornDisk disk;
                openOn(disk);
                const auto id = add("ada/INBOX", "one");
                disk.failAt({.step = step, .fault = fault});
                (void)library_->move({id}, box(target));
                const bool isPast = disk.steps() < step;
                EXPECT_EQ(messages(disk, whole).size(), 1U) << target << " step " << step;
                EXPECT_EQ(library_->page({}, "", 0, 10).total, 1);
                EXPECT_TRUE(library_->content(library_->page({}, "", 0, 10).rows.at(0).id)) << "step " << step;
                if (isPast) break;
            }
        }
    }
}

}  // namespace qs
