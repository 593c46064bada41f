// The patch of the message list's rows: icons for what the plug-in knows of a message, and the date on which a
// scheduled or snoozed one will go or come. Rows are drawn often and many at once: what records tell is looked up for
// all rows of a drawing together, and what a message's headers say is read once. Main thread.
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "Core/PatchClass.h"
#include "Core/PluginColor.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/RelativeDateText.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageColor.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/MessageMarks.h"
#include "MailCategories/StatusIcons.h"
#include "Notes/QSNotesManager.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Reminder/QSRemindersManager.h"
#include "Settings/UserDefaults.h"
#include "Snooze/QSSnoozeManager.h"
#include "Text/MailHeaderDate.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {

namespace {

using Icons = std::vector<ListIcon>;

const Operation<Icons()> quillstead_flagImages{"quillstead_flagImages"};
const Operation<std::string()> quillstead_dateString{"quillstead_dateString"};

constexpr std::string_view kMarksKey = "quillstead_messageMarks", kMissingKey = "quillstead_missingHeaders";
constexpr TimeInterval kAfterDelay = 3.0;  // how much longer than the countdown the word "Delayed" stands

struct RowHeaders {
    std::string messageID;
    bool isScheduled = false, isTracked = false;
    std::optional<Date> scheduled;  // what stands in the header, if that is a date
};

RowHeaders read(const MessageHeaders& headers, const Message& message) {
    RowHeaders row;
    row.messageID = message.messageID();
    row.isTracked = headers.hasHeaderForKey(QSHeaderKeyXTrackingUUID);
    if (const auto text = headers.firstHeaderForKey(QSHeaderKeyXScheduledDate)) {
        row.isScheduled = true;
        row.scheduled = dateFromMailHeaderString(*text);
    }
    return row;
}

// By the message's number in the library, under which its headers never change.
class RowHeadersCache {
public:
    // Null when they can't be had.
    const RowHeaders* of(const Message& message) {
        const auto known = rows_.find(message.libraryID());
        if (known != rows_.end()) return &known->second;
        const auto headers = message.headersIfAvailable();
        if (!headers) return nullptr;
        if (rows_.size() >= kMost) rows_.clear();
        return &rows_.emplace(message.libraryID(), read(*headers, message)).first->second;
    }

private:
    static constexpr std::size_t kMost = 20'000;
    std::unordered_map<std::int64_t, RowHeaders> rows_;
};

MessageListObjectProxy& proxy(HostObject& self) { return static_cast<MessageListObjectProxy&>(self); }

MessageRef messageOf(HostObject& self) {
    const auto shown = proxy(self).message();
    if (const auto thread = std::dynamic_pointer_cast<MessageThread>(shown)) return thread->snippetMessage;
    return std::dynamic_pointer_cast<Message>(shown);
}

// Null when they can't be had. They may come later, so that is remembered for one drawing alone.
const RowHeaders* headersOf(HostObject& self, const MessageRef& message) {
    using Missing = std::shared_ptr<std::unordered_set<std::int64_t>>;
    if (!message) return nullptr;
    MessageListDrawing& drawing = proxy(self).drawing();
    auto missing = drawing.associated<Missing>(kMissingKey);
    if (missing && missing->contains(message->libraryID())) return nullptr;
    const RowHeaders* headers = QSSession::current().part<RowHeadersCache>().of(*message);
    if (headers) return headers;
    if (!missing) drawing.setAssociatedObject(kMissingKey, missing = std::make_shared<Missing::element_type>());
    missing->insert(message->libraryID());
    return nullptr;
}

const MessageMarks& marksOf(MessageListDrawing& drawing) {
    using Ref = std::shared_ptr<const MessageMarks>;
    auto marks = drawing.associated<Ref>(kMarksKey);
    if (!marks) {
        marks = std::make_shared<const MessageMarks>(drawing.messageIDs);
        drawing.setAssociatedObject(kMarksKey, marks);
    }
    return *marks;
}

// Whether the message came less than so long ago; if so, it is drawn again when that is over.
bool isYoungerThan(const Message& message, TimeInterval age) {
    const Date end = message.dateReceived() + age;
    const bool isYounger = RunLoop::main().now() < end;
    if (isYounger) drawAgainAt(end);
    return isYounger;
}

// The icons of one row, added one after the other.
struct Row {
    Message& message;
    const RowHeaders& headers;
    const MessageMarks::Marks& marks;
    const bool isSelected;
    Icons icons;

    void add(const StatusIcon& icon) { icons.push_back({imageOf(icon, isSelected), labelOf(icon), icon.size}); }
    void highlight(const std::optional<Color>& color) {
        if (QSPluginDelegate::quillsteadDefaults().boolForKey("QSHighlightReminderMessages"))
            qs::message::setColor(message, color);
    }
    void addReminder();
    void addOutbox();
    void addTracking();
};

void Row::addReminder() {
    switch (marks.reminder) {
    case ReminderMark::Task: add(status_icons::kTask); return highlight(lightPluginColor());
    case ReminderMark::CompletedTask: add(status_icons::kCompletedTask); return highlight({});
    case ReminderMark::FollowUp: add(status_icons::kFollowUp); return highlight(lightPluginColor());
    case ReminderMark::CompletedFollowUp: return highlight({});
    case ReminderMark::None:
    case ReminderMark::Other: return;
    }
}

void Row::addOutbox() {
    if (!isInOutbox(message)) return;
    if (headers.isScheduled)
        add(status_icons::kScheduled);
    else if (isYoungerThan(message, 2 * sendDelaySeconds()))
        add(status_icons::kDelayed);
}

void Row::addTracking() {
    if (!headers.isTracked || marks.tracking == TrackingMark::None) return;
    add(marks.tracking == TrackingMark::Opened ? status_icons::kOpened : status_icons::kUnopened);
}

Icons flagImages(HostObject& self) {
    Icons icons = quillstead_flagImages(self);
    if (!QSSession::currentIfLoaded()) return icons;
    const auto message = messageOf(self);
    const RowHeaders* const headers = headersOf(self, message);
    if (!headers) return icons;
    Row row{*message, *headers, marksOf(proxy(self).drawing()).of(headers->messageID), proxy(self).selected(),
            std::move(icons)};
    if (row.marks.notes != NoteMark::None && QSNotesManager::hasNotesService()) row.add(status_icons::kNote);
    if (row.marks.reminder != ReminderMark::None && QSRemindersManager::sharedManager().hasReminderService())
        row.addReminder();
    if (QSSnoozeManager::sharedManager().isSnoozedMessageWithMessageID(headers->messageID))
        row.add(status_icons::kSnoozed);
    row.addOutbox();
    row.addTracking();
    return std::move(row.icons);
}

std::string textOf(HostObject& self, Date date) {
    const bool isToday = isSameDay(date, RunLoop::main().now());
    return isToday ? proxy(self).todayText(date) : proxy(self).dateText(date);
}

std::string dateString(HostObject& self) {
    const std::string host = quillstead_dateString(self);
    const auto message = QSSession::currentIfLoaded() ? messageOf(self) : nullptr;
    const RowHeaders* const headers = headersOf(self, message);
    if (headers && headers->isScheduled) {
        if (!headers->scheduled || *headers->scheduled - RunLoop::main().now() < kDateTolerance) return host;
        drawAgainAt(*headers->scheduled - kDateTolerance);
        return withWord(textOf(self, *headers->scheduled), "Scheduled");
    }
    const auto snoozed =
        headers ? QSSnoozeManager::sharedManager().snoozeDateForMessageID(headers->messageID) : std::nullopt;
    if (snoozed) return withWord(textOf(self, *snoozed), "Snoozed");
    const bool isDelayed = message && isInOutbox(*message) && isYoungerThan(*message, sendDelaySeconds() + kAfterDelay);
    return isDelayed ? withWord(host, "Delayed") : host;
}

void load() {
    PatchClass patch("MessageListObjectProxy_Quillstead");
    patch.add(quillstead_flagImages, flagImages);
    patch.add(quillstead_dateString, dateString);
    patch.addAsCategoryOf("MessageListObjectProxy");
    patch.exchange("MessageListObjectProxy", message_list_object_proxy::flagImages.selector(),
                   quillstead_flagImages.selector());
    patch.exchange("MessageListObjectProxy", message_list_object_proxy::dateString.selector(),
                   quillstead_dateString.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
