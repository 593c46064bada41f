// Snoozing: a message goes to the mailbox "Snooze" of its account until a chosen moment, then back to where it came
// from, marked unread and told like new mail. The manager keeps the book of snoozed messages and wakes them.
//
// The book's key is the Message-Id (without angle brackets): an entry stands for every copy of the message, across
// mailboxes and accounts. It survives restarts in the settings. Main thread, but for the questions about one id, which
// every thread may ask.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "Foundation/Date.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/Message.h"
#include "Snooze/SnoozeDates.h"

namespace qs {

class Menu;

// The identifiers are the mailboxes' persistent ones.
struct SnoozeInfo {
    Date QSSnoozeDate;
    std::string QSSnoozeOriginalMailboxIdentifier, QSSnoozeMailboxIdentifier;
};

class QSSnoozeManager : public QSKeyValueChanges {
public:
    static QSSnoozeManager& sharedManager();  // the session's
    QSSnoozeManager();
    ~QSSnoozeManager() override;

    // Does nothing but tell the person when the message can't be snoozed. A message that is snoozed already gets the
    // new date and goes back to where it came from first.
    void snoozeMessage(const MessageRef& message, std::int64_t withSnoozeMode);
    // Ends a snooze before its time; nothing when the message isn't found in a snooze mailbox.
    void unsnoozeMessageWithMessageID(const std::string& messageID, bool moveBack);
    void wakeupMessage(const MessageRef& message);    // moves it back; its arrival there makes it awake
    void setMessageAwake(const MessageRef& message);  // ends its snooze, marks it unread and tells it
    void checkSnoozedMessages();                      // every 20 seconds

    // An empty id is never snoozed.
    bool isSnoozedMessageWithMessageID(std::string_view messageID) const;
    bool isItTimeToWakeUpForMessageID(std::string_view messageID) const;  // its date is past, strictly
    std::optional<Date> snoozeDateForMessageID(std::string_view messageID) const;
    int snoozedCountForMailbox(const Mailbox& mailbox) const;

    SnoozeDate snoozeDateForMode(std::int64_t mode) const;  // by the settings, from now
    // Made anew at each call; brought up to date whenever it is shown.
    std::shared_ptr<Menu> snoozeOptionsMenu();

    // Stores the entry and saves. Nothing without an id.
    void addSnoozeInfo(SnoozeInfo info, const std::string& forMessageID);
    // Drops the entry and saves; nothing when the message isn't found in a snooze mailbox: such an entry stays.
    void removeSnoozeInfoForMessageID(const std::string& messageID);
    void loadSnoozeDatesFromDefaults();
    void saveSnoozeDatesToDefaults() const;

    // A message was added to a mailbox that is neither outbox nor drafts.
    void messageWasAdded(const MessageRef& message);

    // The copy that lies in its account's snooze mailbox, or bears the label of that name; null for none.
    static MessageRef snoozedMessageWithMessageID(const std::string& messageID);
    // Null when there is none and `createIfNecessary` is false, and when it can't be made.
    static std::shared_ptr<Mailbox> snoozeMailboxForAccount(MailAccount& account, bool createIfNecessary);
    static bool isSnoozeMailbox(const Mailbox& mailbox);

private:
    void gmailLabelChanged(const Notification& notification);
    void menuNeedsUpdate(Menu& menu) const;
    std::vector<std::string> dueIDs(Date now) const;
    std::optional<SnoozeInfo> infoFor(std::string_view messageID) const;
    void refuse(const char* text, const char* logLine) const;

    mutable std::mutex lock_;
    std::map<std::string, SnoozeInfo, std::less<>> snoozedMessages_;
    TimerRef wakeupTimer_;
    ObservationRef labelObservation_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
