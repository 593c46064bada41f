// The small pictures that tell what the plug-in knows of a message, in the message list and in the head of a message.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class Message;
class QSSession;

struct StatusIcon {
    const char *name, *selectedName;  // pictures of the plug-in; the second for a selected row
    int size;                         // points
    const char* label;                // what it tells, for those who can't see it; not translated yet
};
namespace status_icons {
inline constexpr StatusIcon kNote{"MessageListNote", "MessageListNoteWhite", 12, "Note"};
inline constexpr StatusIcon kPendingNote{"MessageListNoteLight", "MessageListNoteWhite", 12, "Note, not saved yet"};
inline constexpr StatusIcon kCompletedTask{"MessageListTask", "MessageListTaskWhite", 12, "Completed task"};
inline constexpr StatusIcon kTask{"MessageListTaskUnchecked", "MessageListTaskUncheckedWhite", 12, "Task"};
inline constexpr StatusIcon kFollowUp{"MessageListFollowUp", "MessageListFollowUpWhite", 12, "Follow-up"};
inline constexpr StatusIcon kSnoozed{"MessageListSnooze1", "MessageListSnoozeWhite1", 12, "Snoozed"};
inline constexpr StatusIcon kScheduled{"MessageListScheduled", "MessageListScheduledWhite", 12, "Scheduled"};
inline constexpr StatusIcon kDelayed{"MessageListDelayed", "MessageListDelayedWhite", 12, "Delayed"};
inline constexpr StatusIcon kOpened{"MessageListRead", "MessageListReadWhite", 13, "Tracked, opened"};
inline constexpr StatusIcon kUnopened{"MessageListTracked", "MessageListTrackedWhite", 13, "Tracked, not opened yet"};
inline constexpr StatusIcon kAll[] = {kNote,    kPendingNote, kCompletedTask, kTask,   kFollowUp,
                                     kSnoozed, kScheduled,   kDelayed,       kOpened, kUnopened};
}  // namespace status_icons

// "plugin:..."
std::string imageOf(const StatusIcon& icon, bool selected = false);
std::string labelOf(const StatusIcon& icon);
// Of the icon whose unselected picture has that name; empty for none.
std::string labelOfIconNamed(std::string_view name);

// "Tomorrow, 14:05 (Snoozed)": the text with a word behind it, in brackets.
std::string withWord(const std::string& text, const char* word);
bool isInOutbox(const Message& message);  // of its own account
// How long sent messages wait, in seconds; also while waiting is switched off.
double sendDelaySeconds();

// What is drawn now says something else from then on. Main thread.
void drawAgainAt(Date moment);

// Rows are drawn again when what they show has changed.
void installStatusIconHooks(QSSession& session);

}  // namespace qs
