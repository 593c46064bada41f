// The ground for tests of the Direct Inbox: a whole host, and the popover as a page has it.
#pragma once

#include <string>
#include <vector>

#include "DirectInbox/QSDirectInboxMenuController.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "PluginTest.h"

namespace qs {

class DirectInboxTest : public PluginTest {
protected:
    void start(TemporaryHostOptions options = {}) {
        options.start = {1'795'428'000};
        options.startDeliveries = false;
        startHost(std::move(options));
        defaults().setObject(true, "QSShowedDirectInboxAddMailboxButton");
    }
    QSDirectInboxMenuController& menu() { return delegate().menuController(); }
    QSDirectInboxViewController& inbox() { return *menu().directInboxViewController(); }
    void open() {
        menu().togglePopover(nullptr);
        host_->settle();
    }
    static const Popover* shown(const std::string& identifier = "DirectInbox") {
        for (const Popover* popover : Popover::allShown())
            if (popover->identifier() == identifier && popover->content.list) return popover;
        return nullptr;
    }
    // Keeps the list that it answers out of: what a press does may replace it.
    static void press(const std::string& row, const std::string& button) {
        ASSERT_NE(shown(), nullptr);
        const auto list = shown()->content.list;
        const RowButton* found = list->button(row, button);
        ASSERT_NE(found, nullptr) << row << " " << button;
        found->action();
    }
    // The row of the only message, or of the first.
    static const ListRow* row() {
        if (!shown()) return nullptr;
        for (const ListRow& each : shown()->content.list->rows)
            if (each.kind == ListRow::Kind::Item) return &each;
        return nullptr;
    }
    static std::string rowID() { return row() ? row()->id : ""; }
    static std::vector<std::string> titles(const std::vector<RowButton>& buttons) {
        std::vector<std::string> result;
        for (const RowButton& button : buttons)
            result.push_back(button.title);
        return result;
    }
    // Where the messages of that subject are.
    std::vector<std::string> places(const std::string& subject = "Flour") {
        std::vector<std::string> found;
        for (const auto& each :
             host_->library().messagesMatchingCriterion(MessageCriterion::allOf({}), 0, kSearchStore))
            if (each->subject() == subject) found.push_back(each->mailbox()->identifier());
        return found;
    }
    MessageFlags flags(std::int64_t id) { return host_->library().summary(id)->flags; }
    std::int64_t receive(const std::string& subject = "Flour") {
        return host_->receive("ada", "The Mill <mill@example.org>", subject, "Wheat.")->libraryID();
    }
};

}  // namespace qs
