#include "PersonMenu.h"

#include "Contacts/ContactBook.h"
#include "Foundation/FileSystem.h"
#include "Platform.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PersonMenu : public WindowJourney {
protected:
    void SetUp() override {
        start({.preparePlatform = [this](Platform& platform) {
            contacts_ = ContactBook::inFolder(folder_ / "Contacts", FileSystem::real(), false);
            platform.contacts = contacts_;
        }});
    }
    std::vector<std::string> titles(std::string_view person) {
        std::vector<std::string> titles;
        menu_ = makePersonMenu(host->application(), person);
        for (const auto& item : menu_->itemArray())
            titles.push_back(item->title());
        return titles;
    }

    TemporaryFolder folder_;
    std::shared_ptr<ContactBook> contacts_;
    std::shared_ptr<Menu> menu_;
};

TEST_F(PersonMenu, AddsASenderToTheContactsOnce) {
    const char* grace = "\"Hopper, Grace\" <grace@example.net>";
    EXPECT_THAT(titles(grace), ElementsAre("Write to grace@example.net", "Add to Contacts"));
    ASSERT_TRUE(host->application().choose(*menu_->itemAtIndex(1)));
    EXPECT_EQ(contacts_->displayNameFor("grace@example.net"), "Hopper, Grace");
    EXPECT_THAT(titles(grace), ElementsAre("Write to grace@example.net", "In Your Contacts as Hopper, Grace"));
    EXPECT_FALSE(host->application().isEnabled(*menu_->itemAtIndex(1)));
    EXPECT_THAT(titles("no address"), IsEmpty());
}

TEST_F(PersonMenu, WritesToThem) {
    titles("Ben <ben@example.org>");
    ASSERT_TRUE(host->application().choose(*menu_->itemAtIndex(0)));
    ASSERT_EQ(host->application().composeWindows().size(), 1U);
}

}  // namespace
}  // namespace qs
