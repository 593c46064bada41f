// The application as it is implemented; private to this folder.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Foundation/NotificationCenter.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MainMenu.h"
#include "Responders.h"

namespace qs {

class MailboxesOutlineObject;
class Message;
class MessageViewer;
struct MailboxPlace;
class PreferencesWindowObject;
class ViewerObject;

class MailApplicationObject : public MailApplication {
public:
    static void defineClass();  // "MailApp" with its actions

    explicit MailApplicationObject(MailEngine& engine);
    void begin();  // makes what needs a shared pointer to this object

    // What actions of the menu do.
    void askForNewMailbox(HostObject* sender, bool isInside);
    void askForChangedMailbox(HostObject* sender);
    void deleteMailbox(HostObject* sender);
    void askForNewAccount();
    void showInboxOf(const std::string& account);
    void checkNewMail();
    void quit();
    void showAbout();
    void showKeyboardShortcuts();
    void selectNextWindow();
    void frontWindowFirst(Window& window);
    bool validate(MenuItem& item);
    std::string frontWindowIdentifier() const;
    // A sentence for the person, as an alert in a turn of its own.
    void tell(std::string title, std::string text);
    // A viewer that isn't drawn, to act on one message; null while the program ends.
    std::shared_ptr<MessageViewer> viewerForMessage(const Message& message);

    std::shared_ptr<Menu> mainMenu() const override { return menu_.menu(); }
    std::shared_ptr<Mailbox> _mailboxBeingViewed() const override;
    std::shared_ptr<Mailbox> outbox() const override;
    std::shared_ptr<Mailbox> inbox() const override;
    std::shared_ptr<Window> mainWindow() const override;
    bool isActive() const override { return active_; }
    void activateIgnoringOtherApps(bool flag) override;
    void setApplicationIconImage(std::string image) override;
    std::string mainBundleImage(std::string_view name) const override;
    void showPreferencesPanel(HostObject* sender) override;
    void orderFrontCharacterPalette(HostObject* sender) override;
    void presentError(const Error& error) override;
    bool sendAction(std::string_view selector, HostObject* target, HostObject* sender) override;

    void finishLaunching() override;
    void terminate() override;
    void setActive(bool active) override;
    MailEngine& engine() override { return engine_; }
    MainViewer& viewer() override;
    PreferencesWindow& preferences() override;
    const std::vector<std::shared_ptr<ComposeWindow>>& composeWindows() const override { return composeWindows_; }
    std::shared_ptr<ComposeWindow> composeWindow(std::string_view windowIdentifier) const override;
    void bringToFront(std::string_view windowIdentifier) override;
    std::shared_ptr<ComposeWindow> compose(const ComposeRequest& request) override;
    void composeWindowDidOpen(std::shared_ptr<ComposeWindow> window) override;
    void composeWindowDidClose(const ComposeWindow& window) override;
    bool isEnabled(MenuItem& item) override;
    bool choose(MenuItem& item) override;
    std::shared_ptr<Menu> contextualMenu() override;
    std::shared_ptr<Menu> contextualMenuOfMailbox(std::string_view identifier) override;
    Result<void> renameMailbox(const std::string& identifier, const std::string& name) override;
    void addNotice(std::string text) override { addNotice(std::move(text), {}); }
    const std::vector<Notice>& notices() const override { return notices_; }
    void dismissNotice(int id) override;
    const std::string& applicationIconImage() const override { return icon_; }
    void setPageRequestHandler(std::function<void(std::string_view, std::string_view)> handler) override;
    void requestFromPage(std::string_view what, std::string_view window) override;
    void setQuitHandler(std::function<void()> handler) override { quitHandler_ = std::move(handler); }
    void openAddress(std::string_view url) override;

    bool listsMailbox(const Mailbox& mailbox) const override;

    std::shared_ptr<PreferencesWindowObject> preferencesObject() const { return preferences_; }
    std::shared_ptr<MailboxesOutlineObject> outline() const { return outline_; }
    MailboxRow rowOfMailbox(Mailbox& mailbox) const override;

private:
    std::shared_ptr<Mailbox> mailboxFor(HostObject* sender) const;
    bool canChangeMailbox(HostObject* sender) const;
    void askForPlace(const std::shared_ptr<MailboxPlace>& place);
    Result<void> take(const MailboxPlace& place);
    ResponderChain responders() const;
    void observe();
    void showMailboxes();  // in the menus
    void addNotice(std::string text, std::string waiting);
    void takeNotices();
    void dropSettledNotices();
    void showWindowsInMenu();
    std::vector<std::shared_ptr<Window>> windowsByAge() const;

    MailEngine& engine_;
    MainMenu menu_;
    std::shared_ptr<ViewerObject> viewer_;
    std::shared_ptr<PreferencesWindowObject> preferences_;
    std::shared_ptr<MailboxesOutlineObject> outline_;
    std::vector<std::shared_ptr<ComposeWindow>> composeWindows_;
    bool viewerInFront_ = true, active_ = false, launched_ = false, terminated_ = false;
    std::vector<Notice> notices_;
    std::map<int, std::string> waitingOfNotice_;  // by the notice: the message whose waiting it tells of
    int lastNotice_ = 0;
    std::string accountToShow_;  // just added, and not yet in the library; else empty
    std::string icon_;
    std::function<void(std::string_view, std::string_view)> pageRequestHandler_;
    std::function<void()> quitHandler_;
    std::vector<ObservationRef> observations_;
};

}  // namespace qs
