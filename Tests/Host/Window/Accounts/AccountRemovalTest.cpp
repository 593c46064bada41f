// What is left of removed accounts when something is in the way: it goes later, and never anything of another account.
#include <filesystem>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Accounts/AccountRemovals.h"
#include "Accounts/AccountSecrets.h"
#include "MailEngine.h"
#include "Platform.h"
#include "Support/HookedKeychain.h"
#include "Support/MeasuredFiles.h"
#include "WindowJourney.h"

namespace qs {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::SizeIs;

// A disk from which nothing of mail can be removed for a while.
class StuckFiles : public MeasuredFiles {
public:
    bool isStuck = false;
    Result<void> remove(const fs::path& file) override {
        if (isStuck && file.string().find("/Mail/") != std::string::npos)
            return failure(std::string(kFileErrorDomain), EIO, "the disk does not answer");
        return MeasuredFiles::remove(file);
    }
};

class AccountRemovalTest : public WindowJourney {
protected:
    void SetUp() override {
        start({.files = &files_, .preparePlatform = [this](Platform& platform) { platform.keychain = keychain_; }});
        ASSERT_TRUE(account_secrets::keep("ada", ServerSide::Incoming, "analytical"));
        host->receive("ada", "Ben <ben@example.org>", "Minutes", "Text");
    }
    void remove(MailOfAccount mail) {
        ASSERT_TRUE(removeAccount(host->engine(), "ada", mail));
        host->settle();
        EXPECT_EQ(host->engine().accounts().find("ada"), nullptr);
    }
    bool hasPassword() { return account_secrets::everythingOf("ada")->incoming.has_value(); }
    bool hasMail() { return fs::exists(host->dataFolder() / "Mail/ada"); }
    auto noted() { return AccountRemovals(host->dataFolder(), files_).all(); }
    void lock(bool isLocked) {
        keychain_->willRemove = [isLocked](const KeychainName&) -> Result<void> {
            if (isLocked) return HookedKeychain::refusal(KeychainError::Locked);
            return {};
        };
    }

    TemporaryFolder place_;
    StuckFiles files_;
    const std::shared_ptr<HookedKeychain> keychain_ =
        std::make_shared<HookedKeychain>(Keychain::vault({.folder = place_ / "Keychain", .key = {}, .files = nullptr}));
};

TEST_F(AccountRemovalTest, NothingIsLeftAndNothingNoted) {
    remove(MailOfAccount::Goes);
    EXPECT_FALSE(hasPassword());
    EXPECT_FALSE(hasMail());
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(AccountRemovalTest, WhatIsInTheWayHoldsUpOnlyWhatItIsInTheWayOf) {
    lock(true);
    keychain_->unlocking = [] { return false; };
    remove(MailOfAccount::Goes);
    EXPECT_FALSE(hasMail());
    EXPECT_TRUE(hasPassword());
    host->restart();
    EXPECT_TRUE(hasPassword()) << "still locked";
    EXPECT_THAT(noted(), SizeIs(1));
    lock(false);
    host->restart();
    EXPECT_FALSE(hasPassword());
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(AccountRemovalTest, ThePersonIsAskedToUnlockTheKeychain) {
    lock(true);
    keychain_->unlocking = [this] {
        lock(false);
        return true;
    };
    remove(MailOfAccount::Stays);
    EXPECT_FALSE(hasPassword());
    EXPECT_TRUE(hasMail());
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(AccountRemovalTest, MailThatTheDiskDidNotLetGoGoesAtTheNextStart) {
    files_.isStuck = true;
    remove(MailOfAccount::Goes);
    EXPECT_FALSE(hasPassword());
    ASSERT_TRUE(hasMail());
    EXPECT_EQ(freshAccountIdentifier(host->engine(), "ada"), "ada-2") << "another account is never taken for it";
    files_.isStuck = false;
    host->restart();
    EXPECT_FALSE(hasMail());
    EXPECT_EQ(freshAccountIdentifier(host->engine(), "ada"), "ada");
}

// Cut off after the note and before the account went: it was not removed.
TEST_F(AccountRemovalTest, AnAccountThatIsThereKeepsAllItHas) {
    ASSERT_TRUE(AccountRemovals(host->dataFolder(), files_).note({"ada", true}));
    host->restart();
    EXPECT_TRUE(hasPassword());
    EXPECT_TRUE(hasMail());
    EXPECT_THAT(noted(), IsEmpty());
}

// And after the account went, before anything else did.
TEST_F(AccountRemovalTest, ARemovalThatWasCutOffIsTakenUpAgain) {
    ASSERT_TRUE(AccountRemovals(host->dataFolder(), files_).note({"ada", true}));
    ASSERT_TRUE(host->engine().accounts().remove("ada"));
    host->restart();
    EXPECT_FALSE(hasPassword());
    EXPECT_FALSE(hasMail());
    EXPECT_THAT(noted(), IsEmpty());
}

// A name in the list that is none of a folder leads nowhere.
TEST_F(AccountRemovalTest, NoOtherFolderIsEverRemoved) {
    for (const char* name : {"..", "../Mail", ""})
        ASSERT_TRUE(AccountRemovals(host->dataFolder(), files_).note({name, true}));
    host->restart();
    EXPECT_TRUE(hasMail());
}

}  // namespace
}  // namespace qs
