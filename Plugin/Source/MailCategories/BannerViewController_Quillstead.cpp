// The patch of the banners: when the plug-in's banners show, and what they say.
#include "MailCategories/BannerViewController_Quillstead.h"

#include "Core/PatchClass.h"
#include "Core/PluginColor.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "Models/Alert.h"
#include "Models/Popover.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Platform.h"
#include "Reminder/TaskBanner.h"
#include "Tracking/QSTrackingPixelManager.h"
#include "Tracking/QSTrackingPixelOpenViewController.h"
#include "Unsubscribe/QSUnsubscribeManager.h"
#include "Unsubscribe/UnsubscribeBanner.h"
#include "Viewer/Banner.h"

namespace qs {

namespace {

constexpr TimeInterval kHintDelay = 1.0;
constexpr const char* kTypeKey = "bannerViewType";

const Operation<bool()> quillstead_wantsDisplay{"quillstead_wantsDisplay"};
const Operation<Color()> quillstead_backgroundColor{"quillstead_backgroundColor"};
using banner_quillstead::primaryActionButton;
using banner_quillstead::secondActionButton;

BannerViewController& banner(HostObject& self) { return static_cast<BannerViewController&>(self); }
BannerViewType typeOf(const HostObject& self) { return static_cast<BannerViewType>(self.associated<int>(kTypeKey)); }

std::shared_ptr<BannerButton> buttonAt(HostObject& self, std::size_t index) {
    const auto& original = index == 0 ? junk_mail_banner::notJunkButton : junk_mail_banner::moveMessageButton;
    if (osMinor() >= 12) return original.isAnsweredBy(self) ? original(self) : nullptr;
    const auto& buttons = banner(self).buttons();
    return index < buttons.size() ? buttons[index] : nullptr;
}

std::shared_ptr<MessageHeaders> headersOf(HostObject& self) {
    const auto& subject = banner(self).representedObject;
    return subject && subject->originalMessage ? subject->originalMessage->headersIfAvailable() : nullptr;
}

QSTrackingPixelManager::Pixel pixelOf(HostObject& self) {
    const auto headers = headersOf(self);
    const auto uuid = headers ? headers->firstHeaderForKey(QSHeaderKeyXTrackingUUID) : std::nullopt;
    return uuid ? QSTrackingPixelManager::trackingPixelWithUUID(*uuid) : nullptr;
}

std::string openedText(const QSTrackingPixel& pixel, Date first) {
    const std::string date = formatDate(first, {.pattern = localizedDatePattern(kBannerDateAndTime), .locale = {}});
    if (pixel.numOpens() < 2) return stringWithFormat(QSLocalizedString("This email was first opened at %@."), {date});
    return stringWithFormat(QSLocalizedString("This email has been opened %d times since its first open at %@."),
                            {pixel.numOpens() - 1, date});
}

void queueTrackingHint(const std::shared_ptr<View>& view) {
    RunLoop::main().after(kHintDelay, [view] {
        if (!QSSession::currentIfLoaded()) return;
        QSPopoverController::sharedController().queuePopoverWithIdentifier(
            "TrackingInfo", QSLocalizedString("Here you can find out more about your tracked email."), view,
            kAboveBanner);
    });
}

void showTracking(HostObject& self) {
    BannerViewController& shown = banner(self);
    if (const auto second = secondActionButton(self)) shown.removeFromView(second);
    queueTrackingHint(shown.view());
    const auto button = primaryActionButton(self);
    const auto pixel = pixelOf(self);
    const auto first = pixel ? pixel->firstOpen() : std::nullopt;
    if (button) button->isHidden = !first;
    if (!first) {
        shown.icon = "plugin:MessageListTracked";
        shown.messageField.text =
            QSLocalizedString("This email is tracked, but does not seem to have been opened yet.");
        return;
    }
    shown.icon = "plugin:MessageListRead";
    shown.messageField.text = openedText(*pixel, *first);
    if (!button) return;
    button->title = QSLocalizedString("Show Details");
    button->target = self.weak_from_this();
    button->action = banner_quillstead::showTrackingDetails.selector().name();
}

void updateAndShow(HostObject& self) {
    banner(self).setWantsDisplay(true);
    if (typeOf(self) == BannerViewType::Unsubscribe) showUnsubscribeBanner(banner(self));
    if (typeOf(self) == BannerViewType::Tracking) showTracking(self);
    if (typeOf(self) == BannerViewType::Task) showTaskBanner(banner(self));
}

void closeDetailsUnlessOf(const QSTrackingPixelManager::Pixel& pixel) {
    const auto& details = QSTrackingPixelOpenViewController::sharedController();
    const bool isOfPixel = pixel && !details.opens.empty() && details.opens.front()->pixel() == pixel;
    if (details.popover()->isShown() && !isOfPixel) details.popover()->close();
}

bool wantsDisplay(HostObject& self) {
    const BannerViewType type = typeOf(self);
    if (type == BannerViewType::None) return quillstead_wantsDisplay(self);
    if (!QSSession::currentIfLoaded()) return false;
    if (!headersOf(self)) return quillstead_wantsDisplay(self);
    if (type == BannerViewType::Unsubscribe) {
        const bool shows = QSUnsubscribeManager::showUnsubscribeBannerForMessage(*banner(self).representedObject);
        if (shows) banner_quillstead::updateAndShow(self);
        return shows;
    }
    if (type == BannerViewType::Task) {
        const bool shows = showsTaskBanner(banner(self));
        if (shows) banner_quillstead::updateAndShow(self);
        return shows;
    }
    if (type != BannerViewType::Tracking) return false;
    const auto pixel = pixelOf(self);
    closeDetailsUnlessOf(pixel);
    if (pixel) banner_quillstead::updateAndShow(self);
    return pixel != nullptr;
}

void showTrackingDetails(HostObject& self, HostObject* sender) {
    const auto pixel = pixelOf(self);
    const auto button = sender ? std::dynamic_pointer_cast<View>(sender->shared_from_this()) : nullptr;
    if (!pixel || !pixel->firstOpen() || !button) return beep();
    auto& details = QSTrackingPixelOpenViewController::sharedController();
    closeDetailsUnlessOf(nullptr);
    details.opens = pixel->sortedOpensByDate();
    details.showRelativeTo(button);
}

Color backgroundColor(HostObject& self) {
    if (typeOf(self) == BannerViewType::None) return quillstead_backgroundColor(self);
    return lightPluginColor();
}

void load() {
    PatchClass patch("BannerViewController_Quillstead");
    patch.add(banner_quillstead::bannerViewType, [](HostObject& self) { return self.associated<int>(kTypeKey); });
    patch.add(banner_quillstead::setBannerViewType,
              [](HostObject& self, int type) { self.setAssociatedObject(kTypeKey, type); });
    patch.add(banner_quillstead::updateAndShow, updateAndShow);
    patch.add(banner_quillstead::showTrackingDetails, showTrackingDetails);
    patch.add(banner_quillstead::unsubscribe,
              [](HostObject& self, HostObject*) { unsubscribeFromBanner(banner(self), AfterUnsubscribing::Stay); });
    patch.add(banner_quillstead::unsubscribeAndDelete,
              [](HostObject& self, HostObject*) { unsubscribeFromBanner(banner(self), AfterUnsubscribing::Delete); });
    patch.add(primaryActionButton, [](HostObject& self) { return buttonAt(self, 0); });
    patch.add(secondActionButton, [](HostObject& self) { return buttonAt(self, 1); });
    patch.add(quillstead_wantsDisplay, wantsDisplay);
    patch.addAsCategoryOf("BannerViewController");
    patch.exchange("BannerViewController", qs::banner::wantsDisplay.selector(), quillstead_wantsDisplay.selector());
    patch.finish();

    PatchClass junk("JunkMailBannerViewController_Quillstead");
    junk.add(quillstead_backgroundColor, backgroundColor);
    junk.addAsCategoryOf("JunkMailBannerViewController");
    junk.exchange("JunkMailBannerViewController", junk_mail_banner::backgroundColor.selector(),
                  quillstead_backgroundColor.selector());
    junk.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
