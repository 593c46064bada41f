#include "DirectInbox/QSDirectInputMailboxTableCellView.h"

#include "Core/QSSession.h"

namespace qs {

namespace {

constexpr double kHeight = 24;

using Action = void (QSDirectInboxViewController::*)(const QSDirectInboxRow& row);

RowButton button(const std::shared_ptr<QSDirectInboxViewController>& controller, const QSDirectInboxRow& row,
                 const char* id, const char* title, const char* image, Action action) {
    RowButton made{.id = id, .title = QSLocalizedString(title), .imageName = image};
    made.action = [weak = std::weak_ptr(controller), identifier = row.identifier, action] {
        const auto self = weak.lock();
        // A copy: what is done to the list may take the row away.
        if (const QSDirectInboxRow* found = self ? self->rowWithIdentifier(identifier) : nullptr)
            (self.get()->*action)(QSDirectInboxRow(*found));
    };
    return made;
}

}  // namespace

ListRow QSDirectInputMailboxTableCellView::draw(const std::shared_ptr<QSDirectInboxViewController>& controller,
                                                const QSDirectInboxRow& row) {
    ListRow drawn{.kind = ListRow::Kind::Heading, .id = row.identifier, .height = kHeight};
    drawn.title = row[QSDirectInboxMailboxNameKey].stringValue();
    drawn.detail = row[QSDirectInboxMailboxAccountNameKey].stringValue();
    std::vector<RowButton> buttons;
    if (!row[QSDirectInboxMailboxIsFirstKey].boolValue())
        buttons.push_back(button(controller, row, "up", "Move up", "up", &QSDirectInboxViewController::moveMailboxUp));
    if (!row[QSDirectInboxMailboxIsLastKey].boolValue())
        buttons.push_back(
            button(controller, row, "down", "Move down", "down", &QSDirectInboxViewController::moveMailboxDown));
    buttons.push_back(
        button(controller, row, "hide", "Hide this mailbox", "close", &QSDirectInboxViewController::removeMailbox));
    drawn.controls = {std::move(buttons)};
    return drawn;
}

}  // namespace qs
