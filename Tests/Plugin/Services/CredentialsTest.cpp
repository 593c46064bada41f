// Passwords and OAuth credentials in a real vault.
#include <gmock/gmock.h>

#include "External/AFOAuth2Manager/AFOAuthCredential.h"
#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Services/NUKeychain.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Optional;

class Credentials : public ::testing::Test {
protected:
    Credentials() { Platform::install({.keychain = Keychain::vault({folder_ / "Keychain", {}, nullptr})}); }
    ~Credentials() override { Platform::install({}); }

    AFOAuthCredential full() {
        auto credential = AFOAuthCredential::credentialWithOAuthToken("access-1", "Bearer");
        credential.setRefreshToken("refresh-1", Date{2'000'000'000});
        return credential;
    }

    TemporaryFolder folder_;
    LogCapture log_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual, Date{1'700'000'000});
};

TEST_F(Credentials, APasswordIsFoundByLabelAndAccountAndCutAsItEverWas) {
    struct Case {
        const char *label, *account, *password, *found;
    };
    for (const Case& c :
         {Case{"Quillstead", "ada@example.org", "swordfish", "swordfish"},
          Case{"Quillstead", "grün@example.org", "passwörd", "passwör"},
          Case{"Quillstead", "cut in a letter", "passw ö", nullptr}, Case{"Tölt", "other label", "x", "x"}}) {
        EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(c.label, c.account)) << c.account;
        EXPECT_FALSE(NUKeychain::removeKeychainItem(c.label, c.account)) << c.account;
        EXPECT_TRUE(NUKeychain::setPassword("former", c.label, c.account)) << c.account;
        EXPECT_TRUE(NUKeychain::setPassword(c.password, c.label, c.account)) << c.account;
        const auto found = NUKeychain::passwordFromKeychainItem(c.label, c.account);
        EXPECT_EQ(found, c.found ? std::optional<std::string>(c.found) : std::nullopt) << c.account;
        EXPECT_TRUE(NUKeychain::removeKeychainItem(c.label, c.account)) << c.account;
        EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(c.label, c.account)) << c.account;
    }
    ASSERT_TRUE(NUKeychain::setPassword("", "Quillstead", "empty"));
    EXPECT_TRUE(NUKeychain::checkForExistanceOfKeychainItem("Quillstead", "empty"));
    EXPECT_EQ(NUKeychain::passwordFromKeychainItem("Quillstead", "empty"), std::nullopt);
}

TEST_F(Credentials, ATokenComesBackAsItWasStored) {
    EXPECT_EQ(AFOAuthCredential::retrieveCredentialWithIdentifier("U-1"), std::nullopt);
    EXPECT_FALSE(AFOAuthCredential::deleteCredentialWithIdentifier("U-1"));
    const auto bare = AFOAuthCredential::credentialWithOAuthToken("access-0", std::nullopt);
    ASSERT_TRUE(AFOAuthCredential::storeCredential(bare, "U-1"));
    EXPECT_THAT(AFOAuthCredential::retrieveCredentialWithIdentifier("U-1"), Optional(Eq(bare)));
    ASSERT_TRUE(AFOAuthCredential::storeCredential(full(), "U-1"));
    EXPECT_THAT(AFOAuthCredential::retrieveCredentialWithIdentifier("U-1"), Optional(Eq(full())));

    const auto without = AFOAuthCredential::credentialWithOAuthToken(std::nullopt, "Bearer");
    EXPECT_FALSE(AFOAuthCredential::storeCredential(without, "U-1"));
    EXPECT_THAT(AFOAuthCredential::retrieveCredentialWithIdentifier("U-1"), Optional(Eq(full())))
        << "an answer without a token is no reason to lose one";

    EXPECT_TRUE(AFOAuthCredential::deleteCredentialWithIdentifier("U-1"));
    EXPECT_EQ(AFOAuthCredential::retrieveCredentialWithIdentifier("U-1"), std::nullopt);
}

TEST_F(Credentials, OnlyAnExpiryThatHasPassedExpires) {
    auto credential = full();
    EXPECT_FALSE(credential.isExpired());
    loop_->advance(300'000'000);
    EXPECT_FALSE(credential.isExpired()) << "to the second";
    loop_->advance(1);
    EXPECT_TRUE(credential.isExpired());
    credential.setExpiration(std::nullopt);
    EXPECT_FALSE(credential.isExpired());
}

TEST_F(Credentials, WhatIsMissingIsAFaultOfTheCaller) {
    auto credential = full();
    for (const auto& fault : {std::function<void()>([&] { credential.setRefreshToken("r", std::nullopt); }),
                              std::function<void()>([&] { credential.setRefreshToken(std::nullopt, Date{}); }),
                              std::function<void()>([&] { AFOAuthCredential::storeCredential(credential, ""); })})
        EXPECT_THROW(fault(), AssertionFailure);
    EXPECT_THAT(log_.messages(LogLevel::Error).at(0), HasSubstr("Invalid parameter not satisfying: expiration"));
}

TEST_F(Credentials, TokensAndPasswordsStayOutOfLogs) {
    ASSERT_TRUE(NUKeychain::setPassword("swordfish", "Quillstead", "ada"));
    ASSERT_TRUE(AFOAuthCredential::storeCredential(full(), "U-1"));
    logInfo("swordfish " + full().description());
    for (const char* secret : {"swordfish", "access-1", "refresh-1"})
        EXPECT_THAT(log_.messages(LogLevel::Info).back(), Not(HasSubstr(secret)));
}

}  // namespace
}  // namespace qs
