#include "Foundation/NotificationCenter.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "Foundation/Assertion.h"
#include "Foundation/Runtime.h"
#include "Support/LogCapture.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NotificationCenterTest : public testing::Test {
protected:
    ObservationRef observe(std::string name, std::string tag, const HostObject* object = nullptr) {
        return center_.addObserver(
            std::move(name), [this, tag](const Notification&) { heard_.push_back(tag); }, object);
    }
    std::vector<std::string> heardAfterPosting(std::string_view name, HostObject* object = nullptr) {
        heard_.clear();
        center_.post(name, object);
        return heard_;
    }

    NotificationCenter center_;
    std::vector<std::string> heard_;
    LogCapture log_;
};

TEST_F(NotificationCenterTest, ObserversHearWhatTheyAskedForInTheOrderTheyCame) {
    ClassRegistry registry;
    registry.define("Viewer");
    HostObject one("Viewer"), other("Viewer");
    auto a = observe("Opened", "any"), b = observe("Opened", "one", &one), c = observe("Closed", "closed"),
         d = observe("Opened", "any, later");
    EXPECT_THAT(heardAfterPosting("Opened", &one), ElementsAre("any", "one", "any, later"));
    EXPECT_THAT(heardAfterPosting("Opened", &other), ElementsAre("any", "any, later"));
    EXPECT_THAT(heardAfterPosting("Opened"), ElementsAre("any", "any, later"));
    EXPECT_THAT(heardAfterPosting("opened"), IsEmpty());
    a.reset();
    EXPECT_THAT(heardAfterPosting("Opened"), ElementsAre("any, later"));
}

TEST_F(NotificationCenterTest, TheNotificationTellsNameObjectAndDetails) {
    ClassRegistry registry;
    registry.define("Viewer");
    HostObject viewer("Viewer");
    std::vector<Notification> got;
    auto observation = center_.addObserver("Opened", [&](const Notification& n) { got.push_back(n); });
    center_.post("Opened", &viewer, Dictionary{{"count", 3}});
    ASSERT_EQ(got.size(), 1U);
    EXPECT_EQ(got[0].name, "Opened");
    EXPECT_EQ(got[0].object, &viewer);
    EXPECT_EQ(got[0].userInfo["count"].integerValue(), 3);
}

TEST_F(NotificationCenterTest, ObserversMayComeAndGoDuringAPost) {
    ObservationRef second, late;
    auto first = center_.addObserver("Opened", [&](const Notification&) {
        heard_.push_back("first");
        second.reset();
        if (!late) late = observe("Opened", "late");
    });
    second = observe("Opened", "second");
    EXPECT_THAT(heardAfterPosting("Opened"), ElementsAre("first")) << "the second was taken away, the late one waits";
    EXPECT_THAT(heardAfterPosting("Opened"), ElementsAre("first", "late"));
    ObservationRef itself;
    itself = center_.addObserver("Once", [&](const Notification&) {
        heard_.push_back("once");
        itself.reset();
    });
    EXPECT_THAT(heardAfterPosting("Once"), ElementsAre("once"));
    EXPECT_THAT(heardAfterPosting("Once"), IsEmpty());
}

TEST_F(NotificationCenterTest, AFailingObserverIsLoggedAndTheOthersAreCalled) {
    auto a = center_.addObserver("Opened", [](const Notification&) { throw std::runtime_error("no disk"); });
    auto b = center_.addObserver("Opened", [](const Notification&) { raiseAssertion("a fault"); });
    auto c = center_.addObserver("Opened", [](const Notification&) { throw 7; });
    auto d = observe("Opened", "last");
    EXPECT_THAT(heardAfterPosting("Opened"), ElementsAre("last"));
    EXPECT_THAT(log_.messages(LogLevel::Error), ElementsAre("An observer of Opened failed: no disk", "a fault",
                                                            "An observer of Opened failed: an exception without text"));
}

TEST(NotificationCenterLife, AnObservationMayOutliveItsCentre) {
    auto center = std::make_unique<NotificationCenter>();
    auto observation = center->addObserver("Opened", [](const Notification&) {});
    center.reset();
    observation.reset();
}

}  // namespace
}  // namespace qs
