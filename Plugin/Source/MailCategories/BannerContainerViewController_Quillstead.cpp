// The patch of the banners' container: the plug-in's banners stand behind the host's.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Foundation/NotificationCenter.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Platform.h"
#include "Viewer/Banner.h"

namespace qs {

namespace {

using Container = BannerContainerViewController;

const Operation<void()> quillstead_commonInit{"quillstead_bannerContainerViewControllerCommonInit"};
const Operation<std::shared_ptr<BannerViewController>(int type)> skeletonOfType{"bannerViewControllerSkeletonOfType:"};
const Operation<void()> updateBannerViews{"updateBannerViews:"};

constexpr BannerViewType kTypes[] = {BannerViewType::Unsubscribe, BannerViewType::Tracking, BannerViewType::Task};

Container& container(HostObject& self) { return static_cast<Container&>(self); }

std::shared_ptr<BannerViewController> makeSkeleton(HostObject& self, int type) {
    const auto owner = std::static_pointer_cast<Container>(self.shared_from_this());
    Class* const junk = QSClassFromString("JunkMailBannerViewController");
    auto made = osMinor() >= 12 ? junk_mail_banner::initWithNibName.onClass(junk, {}, {})
                                : junk_mail_banner::initWithContainer.onClass(junk, owner);
    if (!made) return nullptr;
    made->setContainer(owner);
    banner_quillstead::setBannerViewType(made, type);
    return made;
}

void commonInit(HostObject& self) {
    quillstead_commonInit(self);
    if (!QSSession::currentIfLoaded()) return;
    BannerList banners = container(self).bannerViewControllers();
    for (const BannerViewType type : kTypes)
        if (auto made = skeletonOfType(self, static_cast<int>(type))) banners.push_back(std::move(made));
    container(self).setBannerViewControllers(std::move(banners));
    const std::shared_ptr<Observation> observation = NotificationCenter::defaultCenter().addObserver(
        std::string(QSBannerViewInfoDidChangeNotification), [weak = self.weak_from_this()](const Notification&) {
            if (const auto shown = weak.lock()) updateBannerViews(shown);
        });
    self.setAssociatedObject("bannerViewInfoObservation", observation);
}

void load() {
    PatchClass patch("BannerContainerViewController_Quillstead");
    patch.add(quillstead_commonInit, commonInit);
    patch.add(skeletonOfType, makeSkeleton);
    patch.add(updateBannerViews, [](HostObject& self) { container(self).updateBannerDisplay(); });
    patch.addAsCategoryOf("BannerContainerViewController");
    patch.exchange("BannerContainerViewController", banner_container::commonInit.selector(),
                   quillstead_commonInit.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
