// What the plug-in's records tell of messages, for the icons beside them: one look at the store for each kind of
// record, however many messages are asked about. Main thread.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qs {

enum class NoteMark { None, Pending, Present };  // Pending: the service does not hold every one of them yet
enum class ReminderMark { None, FollowUp, CompletedFollowUp, Task, CompletedTask, Other };
enum class TrackingMark { None, Unopened, Opened };

class MessageMarks {
public:
    struct Marks {
        NoteMark notes = NoteMark::None;
        ReminderMark reminder = ReminderMark::None;     // the first of the message's
        bool hasFollowUp = false;                       // completed or not, wherever it stands among them
        bool hasTask = false, isTaskCompleted = false;  // likewise; of the first task
        TrackingMark tracking = TrackingMark::None;     // of the first pixel
    };
    MessageMarks() = default;
    // By their ids, without angle brackets. None when the store can't be opened.
    explicit MessageMarks(const std::vector<std::string>& messageIDs);
    const Marks& of(const std::string& messageID) const;

private:
    std::unordered_map<std::string, Marks> marks_;
};

}  // namespace qs
