#include "MailCategories/MessageMarks.h"

#include <memory>
#include <set>
#include <utility>

#include "Core/StoreFetch.h"
#include "Notes/QSNote.h"
#include "Reminder/QSReminder.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {

namespace {

ReminderMark markOf(const QSReminder& reminder) {
    if (reminder.type() == kReminderTypeTask)
        return reminder.completed() ? ReminderMark::CompletedTask : ReminderMark::Task;
    if (reminder.type() != kReminderTypeFollowUp) return ReminderMark::Other;
    return reminder.completed() ? ReminderMark::CompletedFollowUp : ReminderMark::FollowUp;
}

}  // namespace

MessageMarks::MessageMarks(const std::vector<std::string>& messageIDs) {
    if (messageIDs.empty()) return;
    for (const auto& note : fetched<QSNote>(QSNote::kMessageID.isOneOf(messageIDs))) {
        NoteMark& mark = marks_[note->messageID().value_or("")].notes;
        if (mark != NoteMark::Pending) mark = note->isRemote() ? NoteMark::Present : NoteMark::Pending;
    }
    for (const auto& reminder : fetched<QSReminder>(QSReminder::kMessageID.isOneOf(messageIDs))) {
        Marks& marks = marks_[reminder->messageID().value_or("")];
        if (marks.reminder == ReminderMark::None) marks.reminder = markOf(*reminder);
        if (reminder->type() == kReminderTypeTask && !std::exchange(marks.hasTask, true))
            marks.isTaskCompleted = reminder->completed();
        marks.hasFollowUp = marks.hasFollowUp || reminder->type() == kReminderTypeFollowUp;
    }
    const Condition isAsked = QSTrackingPixel::kMessageID.isOneOf(messageIDs);
    std::set<std::shared_ptr<QSTrackingPixel>> unopened;
    for (auto& pixel : fetched<QSTrackingPixel>(Condition(isAsked) && QSTrackingPixel::kOpens.countIs(0)))
        unopened.insert(std::move(pixel));
    for (const auto& pixel : fetched<QSTrackingPixel>(isAsked)) {
        TrackingMark& mark = marks_[pixel->messageID().value_or("")].tracking;
        if (mark == TrackingMark::None) mark = unopened.contains(pixel) ? TrackingMark::Unopened : TrackingMark::Opened;
    }
}

const MessageMarks::Marks& MessageMarks::of(const std::string& messageID) const {
    static const Marks none;
    const auto found = marks_.find(messageID);
    return found == marks_.end() ? none : found->second;
}

}  // namespace qs
