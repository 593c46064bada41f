#include "Reminder/TaskBanner.h"

#include "Core/QSSession.h"
#include "Core/RelativeDateText.h"
#include "Foundation/RunLoop.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminder/QSTaskOptionsViewController.h"
#include "Viewer/Banner.h"

namespace qs {

namespace {

std::shared_ptr<QSReminder> taskOf(const BannerViewController& banner) {
    const std::string id =
        banner.representedObject ? banner.representedObject->originalMessage->messageID() : std::string();
    if (id.empty()) return nullptr;
    const auto tasks = QSRemindersManager::sharedManager().remindersForMessageID(id, kReminderTypeTask);
    return tasks.empty() ? nullptr : tasks.front();
}

}  // namespace

bool showsTaskBanner(const BannerViewController& banner) {
    const auto task = taskOf(banner);
    return task && !task->completed();
}

// The viewer answers the check box's action.
void showTaskBanner(BannerViewController& banner) {
    const auto task = taskOf(banner);
    if (!task) return;
    if (const auto button = banner_quillstead::primaryActionButton(banner)) {
        const std::string notes = task->notes().value_or("");
        button->title = notes.empty() ? QSLocalizedString("Mark task as completed") : notes;
        button->isHidden = false;
        button->isCheckBox = true;
        button->isOn = false;
        button->target.reset();
        button->action = kUpdateTask;
    }
    const Date now = RunLoop::main().now();
    const auto due = task->dueDate();
    banner.trailingField.text = due ? relativeDateText(*due, now) : std::string();
    banner.isTrailingFieldRed = due && *due < now;
    if (const auto second = banner_quillstead::secondActionButton(banner)) banner.removeFromView(second);
    banner.isIconHidden = true;
    banner.messageField.isHidden = true;
}

}  // namespace qs
