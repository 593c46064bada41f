#include "DirectInbox/DirectInboxView.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "DirectInbox/QSDirectInputMailboxTableCellView.h"
#include "DirectInbox/QSDirectInputMessageTableCellView.h"
#include "Models/RowList.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr double kEmptyMailboxHeight = 24;

using Controller = std::shared_ptr<QSDirectInboxViewController>;

RowButton barButton(const Controller& controller, const char* id, const char* title, const char* image,
                    void (QSDirectInboxViewController::*action)()) {
    RowButton button{.id = id, .title = QSLocalizedString(title), .imageName = image};
    button.action = [weak = std::weak_ptr(controller), action] {
        if (const auto self = weak.lock()) (self.get()->*action)();
    };
    return button;
}

RowButton onlyUnreadButton(const Controller& controller) {
    const bool isOn = QSPluginDelegate::quillsteadDefaults().boolForKey("QSDirectInboxShowOnlyUnread");
    RowButton button{
        .id = "onlyUnread", .title = QSLocalizedString("Only unread messages"), .imageName = "unread", .isOn = isOn};
    button.action = [weak = std::weak_ptr(controller), isOn] {
        if (const auto self = weak.lock()) self->toggleShowOnlyUnread(!isOn);
    };
    return button;
}

ListRow rowFor(const Controller& controller, const QSDirectInboxRow& row, RowList& list) {
    switch (row.type()) {
    case QSDirectInboxRowType::Mailbox: return QSDirectInputMailboxTableCellView::draw(controller, row);
    case QSDirectInboxRowType::Message: {
        const auto cell = std::make_shared<QSDirectInputMessageTableCellView>(controller, row.identifier);
        list.cells.push_back(cell);
        return cell->draw(row);
    }
    case QSDirectInboxRowType::EmptyMailbox: break;
    }
    return {.kind = ListRow::Kind::Note,
            .id = row.identifier,
            .height = kEmptyMailboxHeight,
            .title = controller->emptyMailboxText()};
}

}  // namespace

std::shared_ptr<const RowList> drawDirectInbox(const Controller& controller) {
    auto list = std::make_shared<RowList>();
    list->title = QSLocalizedString("Direct Inbox");
    list->bar = {
        barButton(controller, "checkMail", "Get new mail", "refresh", &QSDirectInboxViewController::checkMail),
        barButton(controller, "compose", "New message", "compose", &QSDirectInboxViewController::composeMessage),
        onlyUnreadButton(controller),
        {.id = kAddMailboxButton,
         .title = QSLocalizedString("Add a mailbox"),
         .imageName = "plus",
         .menu = controller->mailboxesMenu()},
        barButton(controller, "preferences", "Preferences", "preferences",
                  &QSDirectInboxViewController::openPreferences)};
    list->rows.reserve(controller->mailboxMessages().size());
    for (const QSDirectInboxRow& row : controller->mailboxMessages())
        list->rows.push_back(rowFor(controller, row, *list));
    return list;
}

}  // namespace qs
