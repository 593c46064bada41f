// A desktop that hangs must not hold up who asks it: here everything that the program asks at its start.
#include <gmock/gmock.h>
#include <sdbus-c++/sdbus-c++.h>

#include "Adapters.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Keychain/Keychain.h"
#include "MessageBus/BusConnection.h"
#include "RunningApplications/RunningApplications.h"
#include "StatusNotifier/StatusNotifierItem.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(SilentBus, IsGivenUpWhileItStillHoldsTheFirstQuestion) {
    const LogCapture log;
    SilentBus bus;
    const auto center = makeDistributedNotificationCenter();
    EXPECT_FALSE(center->isConnected());
    const auto observation = center->addObserver("com.example.Update", [](std::string_view, const Value&) {});
    center->postNotificationName("com.example.Update", "", {});
    EXPECT_EQ(StatusNotifierItem::show({.identifier = "quillstead", .title = "Any", .icon = {}}, nullptr), nullptr);
    EXPECT_THAT(makeRunningApplications()->runningApplicationsWithBundleIdentifier("com.example.helper"), IsEmpty());
    const auto kept = Keychain::secretService()->read(KeychainName::label("Quillstead", "ada@example.org"));
    ASSERT_FALSE(kept);
    EXPECT_EQ(keychainError(kept.error()), KeychainError::Unreachable);
    EXPECT_EQ(bus.callers(), (SilentBus::Callers{.waiting = 1})) << "nobody waited for it a second time";
    EXPECT_THAT(log.messages(LogLevel::Warning), ElementsAre(HasSubstr("goes on as without a desktop")));
}

TEST(SilentBus, IsAskedAgainOnceItHasHungUp) {
    const LogCapture log;
    {
        const SilentBus silent;
        EXPECT_THROW(connectToSessionBus(), sdbus::Error);
        EXPECT_TRUE(isSessionBusSilent());
    }
    const PrivateBus bus;
    EXPECT_FALSE(isSessionBusSilent());
    EXPECT_NE(connectToSessionBus(), nullptr);
}

// Takes questions and keeps them.
class SilentKeyring {
public:
    SilentKeyring()
        : connection_(sdbus::createSessionBusConnection()),
          object_(sdbus::createObject(*connection_, "/org/freedesktop/secrets")) {
        object_->registerMethod("OpenSession")
            .onInterface("org.freedesktop.Secret.Service")
            .implementedAs([this](sdbus::Result<sdbus::Variant, sdbus::ObjectPath>&& question, const std::string&,
                                  const sdbus::Variant&) { questions_.push_back(std::move(question)); });
        object_->finishRegistration();
        connection_->requestName("org.freedesktop.secrets");
        connection_->enterEventLoopAsync();
    }
    std::size_t asked() {
        connection_->leaveEventLoop();
        return questions_.size();
    }

private:
    PrivateBus bus_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    std::vector<sdbus::Result<sdbus::Variant, sdbus::ObjectPath>> questions_;  // they go before their connection
};

TEST(SilentKeyring, IsOutOfReachAndNotAskedForEachOfManyPasswords) {
    const LogCapture log;
    const auto loop = RunLoop::make(RunLoop::Clock::Virtual);
    SilentKeyring keyring;
    const auto keychain = Keychain::secretService();
    for (const char* account : {"ada@example.org", "ben@example.org", "eve@example.org"}) {
        const auto kept = keychain->read(KeychainName::label("Quillstead", account));
        ASSERT_FALSE(kept);
        EXPECT_EQ(keychainError(kept.error()), KeychainError::Unreachable);
    }
    EXPECT_EQ(keyring.asked(), 1u);
    EXPECT_THAT(log.messages(LogLevel::Warning), ElementsAre(HasSubstr("keyring does not answer")));
}

}  // namespace
}  // namespace qs
