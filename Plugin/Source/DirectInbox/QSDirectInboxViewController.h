// The Direct Inbox: mails of the last seven days, mailbox by mailbox, with what can be done about each of them.
// Computes the list, changes which mailboxes it shows, and sends actions about its rows to viewers.
//
// The list is a snapshot: it is computed anew when it is shown, when messages come, when its mailboxes or filter change
// and after most actions; between that, actions change the rows that they are about. Main thread, unless told
// otherwise.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "DirectInbox/QSDirectInboxRow.h"

namespace qs {

class Menu;
class MessageViewer;
class QSDirectInboxMenuController;
class UserDefaultsController;

// Values of the setting "QSMenuCleanupMode"; others do neither.
inline constexpr std::int64_t kCleanupTrashes = 0, kCleanupArchives = 1;

// Tags of the segments that react().
inline constexpr int kReactReply = 0, kReactReplyAll = 1, kReactForward = 2, kReactCleanUp = 3, kReactJunk = 4,
                     kReactNote = 5, kReactSnooze = 6, kReactTask = 7;

enum class QSRowEdge { Leading = 0, Trailing = 1 };

// What a swipe over a row offers.
struct QSTableViewRowAction {
    std::string title;
    std::string backgroundColor;  // "#RRGGBB"; empty: that of its style
    bool isDestructive = false;
    std::function<void()> handler;
};

class QSDirectInboxViewController : public HostObject, public QSKeyValueChanges {
public:
    // Class "QSDirectInboxViewController". The list is first computed half a second later.
    static std::shared_ptr<QSDirectInboxViewController> make();

    std::weak_ptr<QSDirectInboxMenuController> menuController;  // whose popover shows the list

    // The rows; told under the key "mailboxMessages" when they change.
    const std::vector<QSDirectInboxRow>& mailboxMessages() const { return mailboxMessages_; }
    QSDirectInboxRow* rowWithIdentifier(std::string_view identifier);  // null for none
    // Persistent identifiers, in the order of display; also of mailboxes that are gone, as they may come back.
    const std::vector<std::string>& activeMailboxIdentifiers() const { return activeMailboxIdentifiers_; }
    std::string emptyMailboxText() const;
    void viewDidLoad();  // it is about to be shown for the first time
    // All mailboxes, those of the list ticked; its items add theirs. Null before the view was loaded.
    const std::shared_ptr<Menu>& mailboxesMenu() const { return mailboxesMenu_; }
    static UserDefaultsController& defaultsController();

    // From every thread. The list is computed on the main queue, later; once, however often that is asked before.
    void reloadMailboxMessages();

    // For a menu item that stands for a mailbox which is not in the list yet; others change nothing.
    void addMailbox(HostObject* sender);
    void removeMailbox(const QSDirectInboxRow& row);
    void moveMailboxUp(const QSDirectInboxRow& row);
    void moveMailboxDown(const QSDirectInboxRow& row);
    void toggleShowOnlyUnread(bool state);

    // Actions of the program, sent to whoever answers them.
    void checkMail();
    void composeMessage();
    void openPreferences();
    // Actions about a message's row (QSDirectInboxActions.cpp). Each is sent to a viewer for the message; without one
    // nothing is sent.
    std::vector<QSTableViewRowAction> tableViewRowActionsForRow(const QSDirectInboxRow& row, QSRowEdge edge);
    void react(QSDirectInboxRow& row, int tag);
    void toggleReadState(QSDirectInboxRow& row, bool state);
    void openMessage(const QSDirectInboxRow& row);
    // False when there is no viewer, or it does not know the action.
    static bool sendForMessage(std::string_view action, const MessageRef& message, HostObject* sender);
    void rowDidChange();  // for whoever changed one

private:
    QSDirectInboxViewController();
    void computeList();
    // Stores the changed list of mailboxes.
    void mailboxesDidChange();
    void showPictureOf(const std::string& address);  // which has just come
    void rebuildMailboxesMenu();
    void updateTargetAndActionForMailboxMenu(Menu& menu);
    void removeRow(std::string_view identifier);
    // A viewer for the message, or null: then nothing is sent.
    void setRead(QSDirectInboxRow& row, bool state, const std::shared_ptr<MessageViewer>& viewer);
    bool cleanUp(std::string rowIdentifier, MessageRef message, const std::shared_ptr<MessageViewer>& viewer,
                 std::int64_t mode);
    bool markJunk(QSDirectInboxRow& row);
    void closeIf(bool wasDone);
    void reloadIf(bool wasDone);

    std::vector<QSDirectInboxRow> mailboxMessages_;
    std::vector<std::string> activeMailboxIdentifiers_;
    std::shared_ptr<Menu> mailboxesMenu_;
    std::atomic<bool> reloadIsDue_ = false;
    ObservationRef photos_;
};

}  // namespace qs
