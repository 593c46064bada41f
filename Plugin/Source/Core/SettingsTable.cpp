#include "Core/SettingsTable.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Notes/NoteSettings.h"
#include "Reminder/ReminderSettings.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

struct Choice {
    const char* title;
    int value;
};

struct Row {
    Kind kind;
    const char* key;
    const char* label;
    std::vector<Choice> choices = {};
    double minimum = 0, maximum = 0;
    const char* unit = "";
    void (*afterChange)() = nullptr;
};

struct Group {
    const char* title;
    const char* note;
    std::vector<Row> rows;
    // Controls that change with accounts, services and what was set aside.
    std::vector<FormControl> (*othersFirst)() = nullptr;
    std::vector<FormControl> (*othersLast)() = nullptr;
};

void updateMenus() { QSPluginDelegate::sharedDelegate().updateGlobalMenuItems(); }
void updateDirectInbox() { QSPluginDelegate::sharedDelegate().menuController().updateMenuVisibility(); }
void reloadDirectInbox() { QSPluginDelegate::sharedDelegate().menuController().reloadMailboxMessages(); }
void updateBadge() { QSPluginDelegate::sharedDelegate().updateDockBadge(); }

constexpr const char* kNotYet = "Kept for later: nothing uses these settings yet.";

const std::vector<Group>& groups() {
    static const std::vector<Group> table = {
        {"General",
         "",
         {{.kind = Kind::CheckBox,
           .key = "QSShowDockBadge",
           .label = "Show the Quillstead badge on the program's icon",
           .afterChange = updateBadge}}},
        {"Shortcuts",
         "",
         {{.kind = Kind::Shortcut, .key = "QSSendLaterShortcut", .label = "Send Later", .afterChange = updateMenus},
          {.kind = Kind::Shortcut, .key = "QSSnoozeShortcut", .label = "Snooze", .afterChange = updateMenus},
          {.kind = Kind::Shortcut, .key = "QSCreateNoteShortcut", .label = "Create note", .afterChange = updateMenus},
          {.kind = Kind::Shortcut,
           .key = "QSCreateQuickNoteShortcut",
           .label = "Create quick note",
           .afterChange = updateMenus}}},
        {"Working hours",
         "",
         {{.kind = Kind::CheckBox, .key = "QSMondayIsWorkingDay", .label = "Monday"},
          {.kind = Kind::CheckBox, .key = "QSTuesdayIsWorkingDay", .label = "Tuesday"},
          {.kind = Kind::CheckBox, .key = "QSWednesdayIsWorkingDay", .label = "Wednesday"},
          {.kind = Kind::CheckBox, .key = "QSThursdayIsWorkingDay", .label = "Thursday"},
          {.kind = Kind::CheckBox, .key = "QSFridayIsWorkingDay", .label = "Friday"},
          {.kind = Kind::CheckBox, .key = "QSSaturdayIsWorkingDay", .label = "Saturday"},
          {.kind = Kind::CheckBox, .key = "QSSundayIsWorkingDay", .label = "Sunday"},
          {.kind = Kind::TimeOfDay, .key = "QSWorkingHoursBegin", .label = "The working day begins at"},
          {.kind = Kind::TimeOfDay, .key = "QSWorkingHoursEnd", .label = "and ends at"}}},
        {"Sending",
         "",
         {{.kind = Kind::CheckBox, .key = "QSSendDelay", .label = "Hold every message for a while after Send"},
          {.kind = Kind::Number,
           .key = "QSSendDelaySeconds",
           .label = "For",
           .minimum = 1,
           .maximum = 3600,
           .unit = "seconds"},
          {.kind = Kind::CheckBox, .key = "QSShowUndoDialog", .label = "Show a countdown with \"Undo send\""}}},
        {"Attachments",
         kNotYet,
         {{.kind = Kind::CheckBox, .key = "QSEnableAttachmentReminder", .label = "Remind me of forgotten attachments"},
          {.kind = Kind::TextList, .key = "QSCustomAttachmentKeywords", .label = "Words that announce an attachment"},
          {.kind = Kind::CheckBox,
           .key = "QSAutomaticallyUploadAttachments",
           .label = "Upload large attachments and send links"},
          {.kind = Kind::Number,
           .key = "QSMinAttachmentSize",
           .label = "Large means at least",
           .minimum = 0.1,
           .maximum = 10000,
           .unit = "MB"},
          {.kind = Kind::PopUp,
           .key = "QSAttachmentLinkStyle",
           .label = "Show links",
           .choices = {{"In place of each attachment", 0}, {"As a list", 1}, {"Both ways", 2}}},
          {.kind = Kind::PopUp,
           .key = "QSAttachmentLinkListPosition",
           .label = "Put the list",
           .choices = {{"Below my new text", 0}, {"At the top of the message", 1}}}}},
        {"Read tracking",
         "For who is signed in to a backend. A tracked message holds an invisible picture, which tells when it is "
         "looked "
         "at.",
         {{.kind = Kind::CheckBox, .key = "QSEnableReadTracking", .label = "Track new messages by default"}}},
        {"Follow-up",
         "A reminder about a message that you send, for when nobody answers.",
         {{.kind = Kind::CheckBox, .key = "QSShowFollowUpControl", .label = "Show the follow-up row"},
          {.kind = Kind::PopUp,
           .key = "QSFollowUpTimeDistance",
           .label = "Follow up",
           .choices = {{"in 2 hours", 2},
                       {"in 4 hours", 4},
                       {"tomorrow", 24},
                       {"the day after tomorrow", 48},
                       {"in one week", 168},
                       {"in two weeks", 336},
                       {"in one month", 720},
                       {"Custom...", 0}}},
          {.kind = Kind::CheckBox,
           .key = "QSDeleteFollowUpReminderOnReply",
           .label = "Delete a follow-up when a reply arrives"}}},
        {"Tasks",
         "",
         {{.kind = Kind::CheckBox, .key = "QSHighlightReminderMessages", .label = "Mark messages with a reminder"}},
         defaultReminderListControls,
         setAsideReminderControls},
        {"Compose window",
         kNotYet,
         {{.kind = Kind::CheckBox, .key = "QSShowEmojiControl", .label = "Show the emoji button"}}},
        {"Snooze",
         "",
         {{.kind = Kind::PopUp,
           .key = "QSSnoozeModeDefaultMode",
           .label = "Snooze for",
           .choices = {{"+1 hour", 0},
                       {"+3 hours", 1},
                       {"Today evening", 2},
                       {"Tomorrow morning", 3},
                       {"Tomorrow evening", 4},
                       {"+1 week", 5},
                       {"+1 month", 6},
                       {"Use custom date", 7}}},
          {.kind = Kind::CheckBox,
           .key = "QSSnoozeDateInWorkingHours",
           .label = "Move dates of another day into working hours"}}},
        {"Notes",
         "A note is a copy of a mail at a notes service, which you link among the services.",
         {{.kind = Kind::CheckBox, .key = "QSNotesAddEmailAsAttachment", .label = "Attach the mail itself"},
          {.kind = Kind::CheckBox, .key = "QSNotesAddMetaInformation", .label = "Add sender, recipients and date"},
          {.kind = Kind::CheckBox, .key = "QSNotesIncludeCorrespondence", .label = "Include quoted correspondence"},
          {.kind = Kind::CheckBox, .key = "QSNotesUseEmailDate", .label = "Use the date of the mail"},
          {.kind = Kind::TextList, .key = "QSNotesTags", .label = "Tags of a new note"}},
         nullptr,
         noteControls},
        {"Message list and pictures",
         kNotYet,
         {{.kind = Kind::CheckBox, .key = "QSShowAvatarBadge", .label = "Show where a sender's picture comes from"},
          {.kind = Kind::CheckBox, .key = "QSIgnoreLowResFavicons", .label = "Leave out coarse pictures"}}},
        {"Direct Inbox",
         "A small inbox under its sign at the end of the title bar: the mail of the last seven days.",
         {{.kind = Kind::CheckBox,
           .key = "QSShowMenuBar",
           .label = "Show Direct Inbox",
           .afterChange = updateDirectInbox},
          {.kind = Kind::CheckBox,
           .key = "QSDirectInboxShowOnlyUnread",
           .label = "Only unread messages",
           .afterChange = reloadDirectInbox},
          {.kind = Kind::Number,
           .key = "QSNumMessagesPerMailbox",
           .label = "Messages for each mailbox",
           .minimum = 0,
           .maximum = 100,
           .afterChange = reloadDirectInbox},
          {.kind = Kind::Number,
           .key = "QSMenuSnippetNumRows",
           .label = "Lines of text for each message",
           .minimum = 0,
           .maximum = 10,
           .afterChange = reloadDirectInbox},
          {.kind = Kind::PopUp,
           .key = "QSMenuCleanupMode",
           .label = "Swiping away",
           .choices = {{"moves to the trash", 0}, {"archives", 1}, {"does nothing", 2}},
           .afterChange = reloadDirectInbox}}}};
    return table;
}

FormControl controlFor(const Row& row, UserDefaults& defaults) {
    FormControl control;
    control.kind = row.kind;
    control.id = row.key;
    control.label = QSLocalizedString(row.label);
    control.value = defaults.objectForKey(row.key);
    control.minimum = row.minimum;
    control.maximum = row.maximum;
    control.unit = QSLocalizedString(row.unit);
    for (const Choice& choice : row.choices)
        control.options.push_back({.title = QSLocalizedString(choice.title), .value = choice.value, .imageName = {}});
    control.onChange = [key = std::string(row.key), afterChange = row.afterChange](const Value& value) {
        QSPluginDelegate::quillsteadDefaults().setObject(value, key);
        if (afterChange) afterChange();
    };
    return control;
}

}  // namespace

std::vector<FormGroup> settingsGroups() {
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    std::vector<FormGroup> result;
    for (const Group& group : groups()) {
        FormGroup made{.title = QSLocalizedString(group.title), .note = QSLocalizedString(group.note), .controls = {}};
        if (group.othersFirst) made.controls = group.othersFirst();
        for (const Row& row : group.rows)
            made.controls.push_back(controlFor(row, defaults));
        if (group.othersLast)
            for (FormControl& control : group.othersLast())
                made.controls.push_back(std::move(control));
        result.push_back(std::move(made));
    }
    return result;
}

}  // namespace qs
