#include "DirectInbox/QSDirectInputMessageTableCellView.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/FlagModes.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageFlagBits.h"
#include "Models/Menu.h"
#include "Settings/UserDefaults.h"
#include "Viewer/ListDates.h"

namespace qs {

namespace {

constexpr std::string_view kClassName = "QSDirectInputMessageTableCellView";
constexpr std::size_t kImageSlots = 5;
constexpr double kSnippetLineHeight = 17, kHeightWithoutSnippet = 50;

std::string_view defineClass() {
    Class& cls = ClassRegistry::current().define(kClassName);
    cls.add(Operation<void(HostObject*)>("setFlagMode:"), [](HostObject& self, HostObject* sender) {
        dynamic_cast<QSDirectInputMessageTableCellView&>(self).setFlagMode(sender);
    });
    return kClassName;
}

std::int64_t setting(std::string_view key) { return QSPluginDelegate::quillsteadDefaults().integerForKey(key); }

std::uint32_t flagModeOf(const QSDirectInboxRow& row) {
    return static_cast<std::uint32_t>(row[QSDirectInboxMessageFlagModeKey].integerValue());
}

std::vector<RowButton> swipeButtons(const std::shared_ptr<QSDirectInboxViewController>& controller,
                                    const QSDirectInboxRow& row, QSRowEdge edge) {
    std::vector<RowButton> buttons;
    for (QSTableViewRowAction& action : controller->tableViewRowActionsForRow(row, edge)) {
        RowButton button{.id = "swipe" + std::to_string(buttons.size()) + (edge == QSRowEdge::Leading ? "l" : "t"),
                         .title = action.title,
                         .imageName = {},
                         .colour = action.backgroundColor,
                         .isDestructive = action.isDestructive};
        button.action = std::move(action.handler);
        buttons.push_back(std::move(button));
    }
    return buttons;
}

}  // namespace

QSDirectInputMessageTableCellView::QSDirectInputMessageTableCellView(
    const std::shared_ptr<QSDirectInboxViewController>& controller, std::string row)
    : HostObject(defineClass()), controller_(controller), row_(std::move(row)) {}

QSDirectInboxRow* QSDirectInputMessageTableCellView::objectValue() const {
    const auto controller = controller_.lock();
    return controller ? controller->rowWithIdentifier(row_) : nullptr;
}

ListRow QSDirectInputMessageTableCellView::draw(const QSDirectInboxRow& row) {
    ListRow drawn{.id = row_};
    const auto controller = controller_.lock();
    if (!controller) return drawn;
    const std::int64_t lines = std::max<std::int64_t>(setting("QSMenuSnippetNumRows"), 0);
    drawn.height = static_cast<double>(lines) * kSnippetLineHeight + kHeightWithoutSnippet;
    drawn.picture = row[QSDirectInboxMessageAvatarKey].stringValue();
    drawn.title = row[QSDirectInboxMessageSenderKey].stringValue();
    drawn.detail = row[QSDirectInboxMessageSubjectKey].stringValue();
    drawn.text = row[QSDirectInboxMessageSnippetKey].stringValue();
    drawn.textLines = static_cast<int>(std::min<std::int64_t>(lines, 100));
    if (const auto date = row[QSDirectInboxMessageDateKey].dateValue()) {
        drawn.date = listDateText(*date, RunLoop::main().now());
        drawn.dateLong = longDateText(*date);
    }
    const bool isRead = row[QSDirectInboxMessageIsReadKey].boolValue();
    drawn.isUnread = !isRead;
    drawn.isImportant = row[QSDirectInboxMessagePriorityKey].boolValue();
    const auto& images = row.QSDirectInboxMessageFlagImages;
    drawn.icons.assign(images.begin(),
                       images.begin() + static_cast<std::ptrdiff_t>(std::min(images.size(), kImageSlots)));
    drawn.marks = {readButton(isRead), flagButton(flagModeOf(row))};
    drawn.controls = controls(row);
    drawn.leading = swipeButtons(controller, row, QSRowEdge::Leading);
    drawn.trailing = swipeButtons(controller, row, QSRowEdge::Trailing);
    drawn.onOpen = [controller = controller_, id = row_] {
        if (const auto self = controller.lock())
            if (const QSDirectInboxRow* opened = self->rowWithIdentifier(id)) self->openMessage(*opened);
    };
    return drawn;
}

RowButton QSDirectInputMessageTableCellView::readButton(bool isRead) {
    RowButton button{.id = "read",
                     .title = QSLocalizedString(isRead ? "Mark as unread" : "Mark as read"),
                     .imageName = isRead ? "ring" : "dot",
                     .isOn = isRead};
    button.action = [controller = controller_, id = row_, isRead] {
        if (const auto self = controller.lock())
            if (QSDirectInboxRow* row = self->rowWithIdentifier(id)) self->toggleReadState(*row, !isRead);
    };
    return button;
}

RowButton QSDirectInputMessageTableCellView::flagButton(std::uint32_t mode) {
    return {.id = "flag",
            .title = QSLocalizedString("Flag"),
            .imageName = mode ? "flagged" : "unflagged",
            .colour = swatchOfFlagMode(mode),
            .isForPointedAt = mode == 0,
            .menu = flagMenu(mode)};
}

RowButton QSDirectInputMessageTableCellView::segment(int tag, const char* title, std::string image) {
    RowButton button{
        .id = "react" + std::to_string(tag), .title = QSLocalizedString(title), .imageName = std::move(image)};
    button.action = [controller = controller_, id = row_, tag] {
        if (const auto self = controller.lock())
            if (QSDirectInboxRow* row = self->rowWithIdentifier(id)) self->react(*row, tag);
    };
    return button;
}

std::vector<std::vector<RowButton>> QSDirectInputMessageTableCellView::controls(const QSDirectInboxRow& row) {
    const bool movesToTrash = setting("QSMenuCleanupMode") == kCleanupTrashes;
    const bool isJunk = row[QSDirectInboxMessageJunkKey].boolValue();
    const bool isTaskDone = row[QSDirectInboxMessageTaskCompletedKey].boolValue();
    return {{segment(kReactReply, "Reply", "reply"), segment(kReactReplyAll, "Reply All", "replyAll"),
             segment(kReactForward, "Forward", "forward")},
            {movesToTrash ? segment(kReactCleanUp, "Trash", "RolloverDeleteTemplate")
                          : segment(kReactCleanUp, "Archive", "TB_ArchiveTemplate"),
             isJunk ? segment(kReactJunk, "Not Junk", "TB_NotJunkTemplate")
                    : segment(kReactJunk, "Junk", "TB_JunkTemplate")},
            {segment(kReactNote, "Create quick note", "plugin:RolloverNoteTemplate"),
             segment(kReactSnooze, "Snooze", "plugin:RolloverSnoozeTemplate"),
             segment(kReactTask, "Task",
                     isTaskDone ? "plugin:RolloverTaskUncheckedTemplate" : "plugin:RolloverTaskTemplate")}};
}

std::shared_ptr<Menu> QSDirectInputMessageTableCellView::flagMenu(std::uint32_t mode) {
    auto menu = std::make_shared<Menu>(QSLocalizedString("Flag"));
    for (int tag = 0; tag < kNoFlagTag; ++tag) {
        const auto item = menu->addItemWithTitle(displayNameForFlagColor(tag), "setFlagMode:", "");
        item->setImageName("flagged");
        item->setImageColor(swatchOfFlagMode(flagModeForTag(tag)));
        item->setTag(tag);
    }
    menu->addItem(MenuItem::separatorItem());
    menu->itemArray().back()->setTag(-1);
    const auto none = menu->addItemWithTitle(QSLocalizedString("None"), "setFlagMode:", "");
    none->setImageName("unflagged");
    none->setTag(kNoFlagTag);
    menu->setUpdateHandler([weak = std::weak_ptr(std::static_pointer_cast<QSDirectInputMessageTableCellView>(
                                shared_from_this()))](Menu& updated) {
        const auto self = weak.lock();
        if (const QSDirectInboxRow* row = self ? self->objectValue() : nullptr)
            self->showMode(updated, flagModeOf(*row));
    });
    showMode(*menu, mode);
    return menu;
}

void QSDirectInputMessageTableCellView::showMode(Menu& menu, std::uint32_t mode) const {
    for (const auto& item : menu.itemArray()) {
        if (item->isSeparatorItem() || item->tag() > kNoFlagTag) continue;
        item->setState(flagModeForTag(item->tag()) == mode ? 1 : 0);
        item->setTarget(std::const_pointer_cast<HostObject>(shared_from_this()));
    }
}

void QSDirectInputMessageTableCellView::setFlagMode(HostObject* menuItem) {
    const auto* item = dynamic_cast<MenuItem*>(menuItem);
    const auto controller = controller_.lock();
    const QSDirectInboxRow* row = objectValue();
    if (!item || item->tag() < 0 || item->tag() > kNoFlagTag || !controller || !row) return;
    const std::uint32_t wanted = flagModeForTag(item->tag());
    const std::uint32_t mode = flagModeOf(*row) == wanted ? 0 : wanted;
    // The row first: what is sent leads to a new list.
    const MessageRef message = row->QSDirectInboxRepresentedMessage;
    setFlagMode(mode);
    controller->sendForMessage(mode ? "toggleFlag:" : "clearFlaggedStatus:", message, menuItem);
}

void QSDirectInputMessageTableCellView::setFlagMode(std::uint32_t mode) {
    const auto controller = controller_.lock();
    QSDirectInboxRow* row = objectValue();
    if (!row) return;
    row->values[std::string(QSDirectInboxMessageFlagModeKey)] = static_cast<std::int64_t>(mode);
    controller->rowDidChange();
}

}  // namespace qs
