// The host application's object: main menu, what is viewed, activation, addresses that the desktop hands over.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "Foundation/Runtime.h"
#include "Foundation/Value.h"

namespace qs {

class Mailbox;
class Menu;
class Window;

// Posted on NotificationCenter::defaultCenter(), main thread, object: the application.
inline constexpr std::string_view NSApplicationDidBecomeActiveNotification = "NSApplicationDidBecomeActiveNotification";
inline constexpr std::string_view NSApplicationWillResignActiveNotification =
    "NSApplicationWillResignActiveNotification";
inline constexpr std::string_view NSApplicationWillTerminateNotification = "NSApplicationWillTerminateNotification";
inline constexpr std::string_view MailApplicationDidFinishLaunchingNotification =
    "MailApplicationDidFinishLaunchingNotification";

// An address event: parameters by four-character keyword.
struct AppleEvent {
    std::map<std::uint32_t, std::string> parameters;
    std::string stringForKeyword(std::uint32_t keyword) const;
};
inline constexpr std::uint32_t kKeyDirectObject = 757935405;  // "----"

class MailApp : public HostObject {
public:
    using HostObject::HostObject;  // class "MailApp"
    // NSApp: the one application object; null before the host has made it.
    static std::shared_ptr<MailApp> shared();

    virtual std::shared_ptr<Menu> mainMenu() const = 0;
    virtual std::shared_ptr<Mailbox> _mailboxBeingViewed() const = 0;
    // The outboxes of all accounts as one.
    virtual std::shared_ptr<Mailbox> outbox() const = 0;
    // Likewise the inboxes; with a single account that account's.
    virtual std::shared_ptr<Mailbox> inbox() const = 0;
    virtual std::shared_ptr<Window> mainWindow() const = 0;  // the window in front; null while the program ends
    virtual bool isActive() const = 0;
    virtual void activateIgnoringOtherApps(bool flag) = 0;
    // The picture of the program in the page: SVG or a data URL of a bitmap.
    virtual void setApplicationIconImage(std::string image) = 0;
    // A picture of the host's own bundle, as SVG ("ApplicationIcon"); empty for none.
    virtual std::string mainBundleImage(std::string_view /*name*/) const { return {}; }
    virtual void showPreferencesPanel(HostObject* sender) = 0;
    virtual void orderFrontCharacterPalette(HostObject* sender) = 0;
    // Shows the error's description in a modal dialog; returns when that is answered.
    virtual void presentError(const Error& error) = 0;
    // Shows a sentence at the edge of the page, until the person dismisses it.
    virtual void addNotice(std::string text) = 0;

    // Sends an action along target or the chain of responders; false when nobody answers it or it is invalid now.
    virtual bool sendAction(std::string_view selector, HostObject* target, HostObject* sender) = 0;
};

namespace mail_app {  // exchangeable
// The contextual menu of the message list is about to be shown; the host has filled it.
inline const Operation<void(Menu& menu)> willPresentContextualMenu{"willPresentContextualMenu:"};
inline const Operation<void(const AppleEvent& event, AppleEvent* reply)> handleGURLAppleEvent{
    "handleGURLAppleEvent:replyEvent:"};
}  // namespace mail_app

}  // namespace qs
