// An item in a panel, against a panel of the test's own on a private bus.
#include "StatusNotifier/StatusNotifierItem.h"

#include <gmock/gmock.h>
#include <sdbus-c++/sdbus-c++.h>

#include <condition_variable>
#include <mutex>

#include "Foundation/RunLoop.h"
#include "Support/PrivateBus.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr const char *kWatcher = "org.kde.StatusNotifierWatcher", *kItem = "org.kde.StatusNotifierItem",
                     *kItemPath = "/StatusNotifierItem";
using Pixmap = sdbus::Struct<std::int32_t, std::int32_t, std::vector<std::uint8_t>>;

// Takes items, and can be waited for.
class Panel {
public:
    Panel()
        : connection_(sdbus::createSessionBusConnection()),
          object_(sdbus::createObject(*connection_, "/StatusNotifierWatcher")) {
        object_->registerMethod("RegisterStatusNotifierItem")
            .onInterface(kWatcher)
            .implementedAs([this](const std::string& service) {
                const std::lock_guard hold(lock_);
                items_.push_back(service);
                came_.notify_all();
            });
        object_->finishRegistration();
        connection_->requestName(kWatcher);
        connection_->enterEventLoopAsync();
    }
    ~Panel() { connection_->leaveEventLoop(); }

    // The first that was told; empty when none is in half a minute.
    std::string item() {
        std::unique_lock hold(lock_);
        came_.wait_for(hold, std::chrono::seconds(30), [this] { return !items_.empty(); });
        return items_.empty() ? std::string() : items_.front();
    }

private:
    std::mutex lock_;
    std::condition_variable came_;
    std::vector<std::string> items_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

class StatusNotifierItemTest : public testing::Test {
protected:
    std::unique_ptr<StatusNotifierItem> show() {
        // One pixel: half clear, blue.
        const std::string pixel("\x80\x00\x00\x80", 4);
        return StatusNotifierItem::show(
            {.identifier = "quillstead", .title = "Direct Inbox", .icon = Image::imageWithPixels(pixel, {1, 1})},
            [this] { ++activations_; });
    }
    template <class T>
    static T property(const std::string& item, const char* name) {
        const auto bus = sdbus::createSessionBusConnection();
        const auto proxy = sdbus::createProxy(*bus, item, kItemPath);
        return proxy->getProperty(name).onInterface(kItem).get<T>();
    }
    static void activate(const std::string& item) {
        const auto bus = sdbus::createSessionBusConnection();
        const auto proxy = sdbus::createProxy(*bus, item, kItemPath);
        proxy->callMethod("Activate").onInterface(kItem).withArguments(std::int32_t{10}, std::int32_t{20});
    }

    PrivateBus bus_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    int activations_ = 0;
};

TEST_F(StatusNotifierItemTest, IsToldToThePanelDescribedAndClicked) {
    Panel panel;
    auto item = show();
    ASSERT_NE(item, nullptr);
    const std::string name = panel.item();
    ASSERT_NE(name, "");
    EXPECT_EQ(property<std::string>(name, "Title"), "Direct Inbox");
    EXPECT_EQ(property<std::string>(name, "Status"), "Active");
    EXPECT_EQ(property<std::string>(name, "Category"), "Communications");
    EXPECT_FALSE(property<bool>(name, "ItemIsMenu"));
    const auto pixmaps = property<std::vector<Pixmap>>(name, "IconPixmap");
    ASSERT_THAT(pixmaps, SizeIs(1));
    EXPECT_EQ(pixmaps[0].get<0>(), 1);
    EXPECT_THAT(pixmaps[0].get<2>(), ElementsAre(0x80, 0, 0, 0xFF)) << "alpha first, colours not multiplied";
    activate(name);
    activate(name);
    loop_->runUntilIdle();
    EXPECT_EQ(activations_, 2);
    activate(name);
    item.reset();
    loop_->runUntilIdle();
    EXPECT_EQ(activations_, 2) << "who has gone is not called";
}

TEST_F(StatusNotifierItemTest, IsToldToAPanelThatComesLaterAndToTheNextOne) {
    const auto item = show();
    ASSERT_NE(item, nullptr);
    std::string first;
    {
        Panel panel;
        first = panel.item();
        EXPECT_NE(first, "");
    }
    Panel next;
    EXPECT_EQ(next.item(), first);
}

TEST(StatusNotifierItem, IsNothingWithoutABus) {
    const NoBus none;
    EXPECT_EQ(StatusNotifierItem::show({.identifier = "quillstead", .title = "Any", .icon = {}}, nullptr), nullptr);
}

}  // namespace
}  // namespace qs
