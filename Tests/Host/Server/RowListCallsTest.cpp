// What the page sends about status items and lists in popovers reaches the button that it means.
#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "Calls.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "Models/Menu.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "Models/StatusItem.h"
#include "Models/View.h"
#include "PageState.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::ElementsAre;
using testing::HasSubstr;

// Answers an action, as the owner of a status item does.
class Owner : public HostObject {
public:
    explicit Owner(std::vector<std::string>& told) : HostObject(defineClass()), told_(told) {}
    void clicked() { told_.emplace_back("clicked"); }

private:
    static const char* defineClass() {
        ClassRegistry::current()
            .define("StatusOwner")
            .add(Operation<void(HostObject*)>("click:"),
                 [](HostObject& self, HostObject*) { dynamic_cast<Owner&>(self).clicked(); });
        return "StatusOwner";
    }
    std::vector<std::string>& told_;
};

class RowListCalls : public testing::Test {
protected:
    void SetUp() override {
        item_ = StatusBar::systemStatusBar().squareStatusItem();
        item_->setTitle("Small inbox");
        item_->setTarget(owner_);
        item_->setAction("click:");
        auto list = std::make_shared<RowList>();
        list->bar = {button("add")};
        list->bar.front().menu = menuOf("Red");
        ListRow row{.id = "1", .title = "Ada", .marks = {button("read")}, .controls = {{button("reply")}}};
        row.trailing = {button("swipe")};
        row.onOpen = [this] { told_.emplace_back("open"); };
        list->rows = {{.kind = ListRow::Kind::Heading, .id = "h", .title = "Inbox"}, row};
        popover_.content.list = list;
        popover_.showRelativeTo(item_->view(), 1);
    }
    RowButton button(const std::string& id) {
        RowButton made{.id = id, .title = id, .imageName = {}};
        made.action = [this, id] {
            told_.push_back(id);
            popover_.content.list = nullptr;  // a list may go by what is done with it
        };
        return made;
    }
    std::shared_ptr<Menu> menuOf(const char* title) {
        auto menu = std::make_shared<Menu>();
        menu->addItemWithTitle(title, "click:", "")->setTarget(owner_);
        return menu;
    }
    json::value call(std::string_view name, json::object arguments) {
        CallContext context{host_.application(), page_};
        arguments["identifier"] = "small";
        const auto answer = allCalls().find(name)->second(context, arguments);
        host_.settle();
        return answer;
    }

    TemporaryHost host_;
    PageMemory page_;
    std::vector<std::string> told_;
    std::shared_ptr<Owner> owner_ = std::make_shared<Owner>(told_);
    std::shared_ptr<StatusItem> item_;
    Popover popover_{"small"};
};

TEST_F(RowListCalls, ReachTheStatusItem) {
    call("status.choose", {{"id", item_->identifier()}});
    EXPECT_THAT(told_, ElementsAre("clicked"));
    StatusBar::systemStatusBar().removeStatusItem(*item_);
    EXPECT_FALSE(popover_.isShown());
    EXPECT_THROW(call("status.choose", {{"id", item_->identifier()}}), CallRefused);
}

TEST_F(RowListCalls, ReachEachButtonOfARow) {
    const auto list = popover_.content.list;
    for (const char* id : {"read", "reply", "swipe"}) {
        popover_.content.list = list;
        call("popover.press", {{"row", "1"}, {"button", id}});
    }
    popover_.content.list = list;
    call("popover.open", {{"row", "1"}});
    EXPECT_THAT(told_, ElementsAre("read", "reply", "swipe", "open"));
    EXPECT_THROW(call("popover.press", {{"row", "h"}, {"button", "read"}}), CallRefused);
    EXPECT_THROW(call("popover.open", {{"row", "2"}}), CallRefused);
    popover_.close();
    EXPECT_THROW(call("popover.press", {{"row", "1"}, {"button", "read"}}), CallRefused);
}

TEST_F(RowListCalls, ReachTheMenuOfAButton) {
    const json::object place{{"row", ""}, {"button", "add"}, {"menu", "popover"}};
    EXPECT_THAT(json::serialize(call("popover.menu", place)), HasSubstr("Red"));
    json::object choice = place;
    choice["item"] = "0";
    call("menu.choose", choice);
    EXPECT_THAT(told_, ElementsAre("clicked"));
    EXPECT_THROW(call("popover.menu", {{"row", "1"}, {"button", "read"}}), CallRefused);
}

TEST_F(RowListCalls, ArePreparedByWhatThePageIsTold) {
    const PageSections sections = makePageSections(host_.application(), {});
    EXPECT_THAT(*sections.at("status"), HasSubstr("Small inbox"));
    EXPECT_THAT(*sections.at("popovers"), HasSubstr(R"("anchor":"status:)"));
    EXPECT_THAT(*sections.at("popovers"), HasSubstr(R"("kind":"heading")"));
}

}  // namespace
}  // namespace qs
