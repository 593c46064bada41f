// The host application: its main menu, its windows as models, and the chain that actions travel along. It owns the
// viewer, the compose windows and the preferences, and fills HostInstances with application and frontmost viewer.
//
// Main thread only. Order of a start: MailEngine::open, MailApplication::make, BundleLoader::loadAll, finishLaunching,
// deliveries().start(). Order of an end: terminate, deliveries().stop(), BundleLoader::unloadAll, then the last
// reference to the application, then the engine.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Application/MailApp.h"
#include "Foundation/Result.h"
#include "Mail/Message.h"
#include "Models/Menu.h"

namespace qs {

class ComposeWindow;
struct ComposeRequest;
class MailEngine;
class MainViewer;
class PreferencesWindow;

// A sentence at the edge of the page, until the person dismisses it.
struct Notice {
    int id = 0;
    std::string text;
};

// What the list of mailboxes shows beside a mailbox, and whether messages can be dropped on it.
struct MailboxRow {
    int badge = 0;      // 0: none
    std::string image;  // empty: the one of its kind
    bool takesDrops = false;
};

class MailApplication : public MailApp {
public:
    using MailApp::MailApp;
    // Defines the host classes of windows and application by OS minor, builds menu and viewer.
    static std::shared_ptr<MailApplication> make(MailEngine& engine);
    // Posts "MailApplicationDidFinishLaunchingNotification". Once.
    virtual void finishLaunching() = 0;
    // Saves drafts of all compose windows, posts NSApplicationWillTerminateNotification, lets windows go. Once.
    virtual void terminate() = 0;
    // The page has the focus or not: posts the active and resign notifications on changes.
    virtual void setActive(bool active) = 0;

    virtual MailEngine& engine() = 0;
    virtual MainViewer& viewer() = 0;
    virtual PreferencesWindow& preferences() = 0;
    virtual const std::vector<std::shared_ptr<ComposeWindow>>& composeWindows() const = 0;  // the one in front last
    virtual std::shared_ptr<ComposeWindow> composeWindow(std::string_view windowIdentifier) const = 0;
    virtual void bringToFront(std::string_view windowIdentifier) = 0;  // "viewer" or a compose window

    // Opens a compose window in front of the others. Null, with an alert, when it can't be opened.
    virtual std::shared_ptr<ComposeWindow> compose(const ComposeRequest& request) = 0;
    // From ComposeWindow: a window stands (it comes to the front), and one has closed (and may be destroyed by this).
    virtual void composeWindowDidOpen(std::shared_ptr<ComposeWindow> window) = 0;
    virtual void composeWindowDidClose(const ComposeWindow& window) = 0;

    // Fresh enabled states of a menu: each item's action is looked up along target or chain of responders and validated
    // there ("validateMenuItem:"); an action that nobody answers is disabled.
    virtual bool isEnabled(MenuItem& item) = 0;
    // Chooses an item as a click does. False when it is disabled.
    virtual bool choose(MenuItem& item) = 0;
    // The list's contextual menu for the selection, filled by the host, then offered to willPresentContextualMenu:.
    virtual std::shared_ptr<Menu> contextualMenu() = 0;
    // That of a row in the list of mailboxes; null when the mailbox is gone.
    virtual std::shared_ptr<Menu> contextualMenuOfMailbox(std::string_view identifier) = 0;
    // A path, levels parted by "/". When the mailbox is looked at, it still is afterwards.
    virtual Result<void> renameMailbox(const std::string& identifier, const std::string& name) = 0;

    // In the list of mailboxes: an outbox stands there only while something waits in it, or it is looked at.
    virtual bool listsMailbox(const Mailbox& mailbox) const = 0;
    virtual MailboxRow rowOfMailbox(Mailbox& mailbox) const = 0;

    virtual const std::vector<Notice>& notices() const = 0;
    virtual void dismissNotice(int id) = 0;
    virtual const std::string& applicationIconImage() const = 0;
    // Asks whoever shows the page for something that only it can do, for a window: "chooseFile", "characterPalette",
    // "focus" (bring it to the front), "find" (the search field), "print" or "source" (the selected message's).
    virtual void setPageRequestHandler(std::function<void(std::string_view what, std::string_view window)> handler) = 0;
    virtual void requestFromPage(std::string_view what, std::string_view window) = 0;
    // The program is asked to quit (menu item).
    virtual void setQuitHandler(std::function<void()> handler) = 0;
    // Opens an address that the desktop handed over, through handleGURLAppleEvent:replyEvent:. mailto: opens a message.
    virtual void openAddress(std::string_view url) = 0;
};

}  // namespace qs
