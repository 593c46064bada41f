#include "JunkMailBanner.h"

#include "Mail/Mailbox.h"
#include "Platform.h"
#include "Viewer/Banner.h"

namespace qs {
namespace {

class JunkMailBanner : public BannerViewController {
public:
    JunkMailBanner() : BannerViewController("JunkMailBannerViewController") {}

    bool wantsDisplayByItself() override {
        const auto mailbox = representedObject ? representedObject->originalMessage->mailbox() : nullptr;
        if (!mailbox || mailbox->kind() != MailboxKind::Junk) return false;
        icon = "junk";
        messageField.text = "This message is among the junk.";
        set(0, "Not Junk", "junkMessages:");
        set(1, "Move to Trash", "deleteMessages:");
        return true;
    }
    // By the place that it has in the view when nothing was removed from it.
    const std::shared_ptr<BannerButton>& originalButton(std::size_t index) {
        if (original_.empty()) original_ = buttons();
        return original_.at(index);
    }

private:
    void set(std::size_t index, const char* title, const char* action) {
        const auto& button = originalButton(index);
        button->title = title;
        button->action = action;
        button->isHidden = false;
    }
    std::vector<std::shared_ptr<BannerButton>> original_;
};

JunkMailBanner& junkBanner(HostObject& self) { return dynamic_cast<JunkMailBanner&>(self); }

}  // namespace

void defineBannerClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    Class& base = registry.define("BannerViewController");
    base.add(banner::wantsDisplay,
             [](HostObject& self) { return static_cast<BannerViewController&>(self).wantsDisplayByItself(); });

    Class& junk = registry.define("JunkMailBannerViewController", &base);
    junk.add(junk_mail_banner::backgroundColor, [](HostObject&) { return Color::colorWithRed(0.93, 0.8, 0.5); });
    if (osMinor() >= 12) {
        junk.add(junk_mail_banner::notJunkButton, [](HostObject& self) { return junkBanner(self).originalButton(0); });
        junk.add(junk_mail_banner::moveMessageButton,
                 [](HostObject& self) { return junkBanner(self).originalButton(1); });
        junk.addClassMethod(
            junk_mail_banner::initWithNibName,
            [](Class&, const std::string&, const std::string&) -> std::shared_ptr<BannerViewController> {
                return std::make_shared<JunkMailBanner>();
            });
    } else {
        junk.addClassMethod(junk_mail_banner::initWithContainer,
                            [](Class&, const std::shared_ptr<BannerContainerViewController>& container)
                                -> std::shared_ptr<BannerViewController> {
                                auto made = std::make_shared<JunkMailBanner>();
                                made->setContainer(container);
                                return made;
                            });
    }

    registry.define("BannerContainerViewController").add(banner_container::commonInit, [](HostObject& self) {
        auto& container = static_cast<BannerContainerViewController&>(self);
        const auto made = std::make_shared<JunkMailBanner>();
        made->setContainer(std::static_pointer_cast<BannerContainerViewController>(container.shared_from_this()));
        container.setBannerViewControllers({made});
    });
}

}  // namespace qs
