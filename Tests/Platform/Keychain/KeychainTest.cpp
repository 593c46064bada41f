// Against a real keyring daemon and the real vault.
#include "Keychain/Keychain.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

const KeychainName credential = KeychainName::service("AFOAuthCredentialService", "U-1");
const KeychainName password = KeychainName::label("Quillstead", "ada@example.org");

std::string answerOf(Keychain& keychain, const KeychainName& name) {
    const auto found = keychain.read(name);
    if (found) return *found;
    switch (keychainError(found.error()).value_or(KeychainError::Failed)) {
    case KeychainError::Missing: return "(missing)";
    case KeychainError::Locked: return "(locked)";
    case KeychainError::Unreachable: return "(unreachable)";
    case KeychainError::Damaged: return "(damaged)";
    case KeychainError::Failed: break;
    }
    return "(failed)";
}

// What every keychain must do.
void expectKeeps(Keychain& keychain) {
    EXPECT_EQ(answerOf(keychain, credential), "(missing)");
    EXPECT_EQ(keychainError(keychain.remove(credential).error()), KeychainError::Missing);
    const std::string bytes("\0\xff any bytes \n", 14);
    const KeychainName odd = KeychainName::label("50% \xc3", "\xff\x01 ünder");
    for (const auto& [name, secret] : {std::pair{credential, std::string("first")},
                                       {credential, bytes},
                                       {password, std::string("pässword")},
                                       {odd, std::string("odd")},
                                       {KeychainName::service("Quillstead", password.account), std::string("other")}})
        ASSERT_TRUE(keychain.write(name, secret)) << name.place;
    EXPECT_EQ(answerOf(keychain, credential), bytes) << "the later one, and one item";
    EXPECT_EQ(answerOf(keychain, password), "pässword") << "a label is no service";
    EXPECT_EQ(answerOf(keychain, odd), "odd");
    ASSERT_TRUE(keychain.remove(credential));
    EXPECT_EQ(answerOf(keychain, credential), "(missing)");
    EXPECT_EQ(answerOf(keychain, password), "pässword");
}

TEST(SecretServiceKeychain, KeepsAndTellsLockedFromGone) {
    PrivateKeyring keyring;
    const auto keychain = Keychain::secretService();
    expectKeeps(*keychain);
    keyring.restart(false);
    EXPECT_EQ(answerOf(*keychain, password), "(locked)");
    EXPECT_EQ(keychainError(keychain->write(credential, "later").error()), KeychainError::Locked);
    keyring.restart(true);
    EXPECT_EQ(answerOf(*keychain, password), "pässword");
    keyring.stop();
    EXPECT_EQ(answerOf(*keychain, password), "(unreachable)");
}

TEST(VaultKeychain, KeepsSealedAndForTheUserOnly) {
    const TemporaryFolder folder;
    const auto keychain = Keychain::vault({.folder = folder / "Keychain", .key = {}, .files = nullptr});
    expectKeeps(*keychain);
    EXPECT_EQ(answerOf(*Keychain::vault({.folder = folder / "Keychain", .key = {}, .files = nullptr}), password),
              "pässword");
    for (const auto& file : std::filesystem::directory_iterator(folder / "Keychain")) {
        EXPECT_EQ(static_cast<unsigned>(file.status().permissions()), 0600u) << file.path();
        const auto content = FileSystem::real().read(file.path());
        for (const char* known : {"pässword", "ada@example.org", "odd"})
            EXPECT_THAT(*content, Not(HasSubstr(known))) << file.path();
    }
}

TEST(VaultKeychain, FallsBackWhenDamagedAndNeverStartsAnewOverWhatItCannotOpen) {
    const TemporaryFolder folder;
    const LogCapture log;
    const auto keychain = Keychain::vault({.folder = folder.path(), .key = folder / "elsewhere", .files = nullptr});
    ASSERT_TRUE(keychain->write(password, "before"));
    ASSERT_TRUE(keychain->write(credential, "after"));
    auto content = FileSystem::real().read(folder / "Vault").value();
    content[content.size() / 2] ^= 1;
    folder.write("Vault", content);
    EXPECT_EQ(answerOf(*keychain, password), "before");
    EXPECT_EQ(answerOf(*keychain, credential), "(missing)");
    EXPECT_THAT(log.messages(LogLevel::Error), Not(SizeIs(0)));
    ASSERT_TRUE(keychain->write(credential, "again"));
    EXPECT_EQ(answerOf(*keychain, password), "before");

    const auto key = FileSystem::real().read(folder / "elsewhere").value();
    std::filesystem::remove(folder / "elsewhere");
    EXPECT_EQ(answerOf(*keychain, password), "(unreachable)");
    EXPECT_FALSE(keychain->write(password, "lost"));
    folder.write("elsewhere", std::string(key.size(), 'k'));
    EXPECT_EQ(answerOf(*keychain, password), "(damaged)");
    EXPECT_FALSE(keychain->write(password, "lost"));
    folder.write("elsewhere", key);
    EXPECT_EQ(answerOf(*keychain, password), "before");
}

TEST(StandardKeychain, UsesTheKeyringAndKnowsItAgain) {
    const TemporaryFolder folder;
    const Keychain::VaultOptions options{.folder = folder.path(), .key = {}, .files = nullptr};
    PrivateKeyring keyring;
    const auto keychain = Keychain::standard(options);
    expectKeeps(*keychain);
    EXPECT_FALSE(std::filesystem::exists(folder / "Vault")) << "all of it is in the keyring";
    keyring.stop();
    EXPECT_EQ(answerOf(*keychain, password), "(unreachable)");
    EXPECT_FALSE(keychain->write(password, "new"));
    keyring.loseEverything();
    keyring.restart(true);
    EXPECT_EQ(answerOf(*keychain, password), "(unreachable)") << "another keyring is no proof that there is none";
}

TEST(StandardKeychain, UsesTheVaultWithoutADesktopAndLeavesItForTheKeyring) {
    const TemporaryFolder folder;
    const Keychain::VaultOptions options{.folder = folder.path(), .key = {}, .files = nullptr};
    {
        const NoBus none;
        const auto keychain = Keychain::standard(options);
        expectKeeps(*keychain);
    }
    const PrivateKeyring keyring;
    const auto keychain = Keychain::standard(options);
    EXPECT_EQ(answerOf(*keychain, password), "pässword") << "still in the vault";
    ASSERT_TRUE(keychain->write(password, "new"));
    EXPECT_EQ(answerOf(*Keychain::vault(options), password), "(missing)") << "never two of them";
    EXPECT_EQ(answerOf(*keychain, password), "new");
    ASSERT_TRUE(keychain->remove(password));
    EXPECT_EQ(answerOf(*keychain, password), "(missing)");
}

}  // namespace
}  // namespace qs
