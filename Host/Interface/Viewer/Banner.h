// Banners: strips above a displayed message, each with an icon, a sentence and a button or two, such as the one on top
// of junk. A container keeps the viewer's banners; for each message that is shown it asks every one of them whether it
// wants to be seen. Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"
#include "Models/View.h"
#include "Text/Color.h"

namespace qs {

class BannerContainerViewController;

// Pressed, it sends its action to its target, or along the chain of responders, with itself as the sender.
class BannerButton : public View {
public:
    BannerButton(std::string anchor, std::weak_ptr<Window> window);  // class "NSButton"
    std::string title, action;
    std::weak_ptr<HostObject> target;
    bool isHidden = true, isEnabled = true, isCheckBox = false, isOn = false;
};

// What a banner is about.
class BannerSubject : public HostObject {
public:
    explicit BannerSubject(MessageRef message)
        : HostObject("ConversationMember"), originalMessage(std::move(message)) {}
    const MessageRef originalMessage;
    int junkStatus() const;  // 0 for what is no junk
};

class BannerViewController : public HostObject {
public:
    explicit BannerViewController(std::string_view className = "BannerViewController") : HostObject(className) {}

    struct Label {
        std::string text;
        bool isHidden = false;
    };
    std::string icon;  // the name of a picture
    bool isIconHidden = false;
    Label messageField;
    Label trailingField;  // at the far end, such as a date; empty: none
    bool isTrailingFieldRed = false;
    std::shared_ptr<BannerSubject> representedObject;  // null while no message is shown

    std::shared_ptr<BannerContainerViewController> container() const { return container_.lock(); }
    // Gives it its place in that container's window, with two buttons. Once.
    void setContainer(const std::shared_ptr<BannerContainerViewController>& container);
    std::shared_ptr<View> view() const { return view_; }
    // The buttons among the view's subviews, in order.
    const std::vector<std::shared_ptr<BannerButton>>& buttons() const { return buttons_; }
    void removeFromView(const std::shared_ptr<BannerButton>& button);
    void setWantsDisplay(bool flag) { wantsDisplay_ = flag; }
    // The host's own answer to wantsDisplay.
    virtual bool wantsDisplayByItself() { return wantsDisplay_; }

private:
    std::weak_ptr<BannerContainerViewController> container_;
    std::shared_ptr<View> view_;
    std::vector<std::shared_ptr<BannerButton>> buttons_;
    bool wantsDisplay_ = false;
};
using BannerList = std::vector<std::shared_ptr<BannerViewController>>;

class BannerContainerViewController : public HostObject {
public:
    explicit BannerContainerViewController(std::shared_ptr<Window> window)
        : HostObject("BannerContainerViewController"), window_(std::move(window)) {}

    std::shared_ptr<Window> window() const { return window_.lock(); }
    const BannerList& bannerViewControllers() const { return controllers_; }
    void setBannerViewControllers(BannerList controllers) { controllers_ = std::move(controllers); }
    // The message that is shown now; null for none. Asks the banners when it is another one than before.
    void setMessage(const MessageRef& message);
    // Asks every banner anew.
    void updateBannerDisplay();
    // Those that want to be seen.
    const BannerList& displayed() const { return displayed_; }
    std::string anchorForNextBanner();

private:
    std::weak_ptr<Window> window_;
    std::shared_ptr<BannerSubject> subject_;
    BannerList controllers_, displayed_;
    int banners_ = 0;
};

namespace banner_container {  // exchangeable
// Fills a new container with its banners.
inline const Operation<void()> commonInit{"_bannerContainerViewControllerCommonInit"};
}  // namespace banner_container

namespace banner {  // exchangeable
inline const Operation<bool()> wantsDisplay{"wantsDisplay"};
}  // namespace banner

// JunkMailBannerViewController, a BannerViewController.
namespace junk_mail_banner {
// Class methods that make one: the first from OS minor 12 on, the other before.
inline const Operation<std::shared_ptr<BannerViewController>(const std::string& nibName, const std::string& bundle)>
    initWithNibName{"initWithNibName:bundle:"};
inline const Operation<std::shared_ptr<BannerViewController>(std::shared_ptr<BannerContainerViewController> container)>
    initWithContainer{"initWithBannerContainerViewController:"};
// Exchangeable.
inline const Operation<Color()> backgroundColor{"backgroundColor"};
// From OS minor 12 on; before, they are found among the view's subviews only.
inline const Operation<std::shared_ptr<BannerButton>()> notJunkButton{"notJunkButton"};
inline const Operation<std::shared_ptr<BannerButton>()> moveMessageButton{"moveMessageButton"};
}  // namespace junk_mail_banner

}  // namespace qs
