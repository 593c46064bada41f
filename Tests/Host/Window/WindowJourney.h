// What the journeys of viewer and application share: a whole host, answers to its alerts, and short ways to its menus.
#pragma once

#include <gmock/gmock.h>

#include "Compose/ComposeSupport.h"
#include "Mail/Mailbox.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryHost.h"

namespace qs {

class WindowJourney : public testing::Test {
protected:
    void start(TemporaryHostOptions options = {}) {
        alerts.reset();
        host.reset();
        host = std::make_unique<TemporaryHost>(std::move(options));
        alerts = std::make_unique<AlertAnswers>();
    }
    // The item of that title in a submenu of the main menu ("Message", "Reply"); null for none.
    std::shared_ptr<MenuItem> item(std::string_view menu, std::string_view title) {
        for (const auto& top : host->application().mainMenu()->itemArray())
            if (top->title() == menu) return itemIn(*top->submenu(), title);
        return nullptr;
    }
    // Submenus come last: a mailbox below "Move to" may be called like an action.
    static std::shared_ptr<MenuItem> itemIn(const Menu& menu, std::string_view title) {
        for (const auto& item : menu.itemArray())
            if (item->title() == title) return item;
        for (const auto& item : menu.itemArray())
            if (const auto below = item->submenu() ? itemIn(*item->submenu(), title) : nullptr) return below;
        return nullptr;
    }
    bool choose(std::string_view menu, std::string_view title) {
        const auto found = item(menu, title);
        if (!found) ADD_FAILURE() << "no item " << menu << " > " << title;
        const bool chosen = found && host->application().choose(*found);
        host->settle();
        return chosen;
    }
    bool isEnabled(std::string_view menu, std::string_view title) {
        const auto found = item(menu, title);
        if (!found) ADD_FAILURE() << "no item " << menu << " > " << title;
        return found && host->application().isEnabled(*found);
    }
    void select(std::vector<std::int64_t> ids) {
        host->viewer().selectIDs(std::move(ids));
        host->settle();
    }
    std::vector<std::string> subjects() {
        std::vector<std::string> subjects;
        for (const ViewerRow& row : host->viewer().rows())
            subjects.push_back(row.summary.subject);
        return subjects;
    }
    std::vector<std::string> subjectsOf(std::string_view account, MailboxKind kind) {
        std::vector<std::string> subjects;
        for (const MessageSummary& message : host->messagesOf(account, kind))
            subjects.push_back(message.subject);
        return subjects;
    }
    // Messages "1", "2", ... come into the inbox, a second apart; their ids.
    std::vector<std::int64_t> receive(int count) {
        std::vector<std::int64_t> ids;
        for (int i = 1; i <= count; ++i) {
            host->advance(1);
            ids.push_back(host->receive("ada", "Ben <ben@example.org>", std::to_string(i), "Text.")->libraryID());
        }
        return ids;
    }

    LogCapture log;
    std::unique_ptr<TemporaryHost> host;
    std::unique_ptr<AlertAnswers> alerts;
};

}  // namespace qs
