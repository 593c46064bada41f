// The plug-in's own banners. Main thread.
#pragma once

#include <memory>
#include <string_view>

#include "Foundation/Runtime.h"

namespace qs {

class BannerButton;

// Posted when what a banner says has changed.
inline constexpr std::string_view QSBannerViewInfoDidChangeNotification = "QSBannerViewInfoDidChangeNotification";

// Kept with a banner as "bannerViewType"; the host's banners have none.
enum class BannerViewType { None = 0, Unsubscribe = 1, Tracking = 2, Task = 3 };

namespace banner_quillstead {
inline const Operation<int()> bannerViewType{"bannerViewType"};
inline const Operation<void(int type)> setBannerViewType{"setBannerViewType:"};
inline const Operation<void()> updateAndShow{"updateAndShow"};
// The banner's buttons; null for one that the host's banner has not.
inline const Operation<std::shared_ptr<BannerButton>()> primaryActionButton{"primaryActionButton"};
inline const Operation<std::shared_ptr<BannerButton>()> secondActionButton{"secondActionButton"};
inline const Operation<void(HostObject* sender)> unsubscribe{"unsubscribe:"};
// The same, and then the message goes to the trash.
inline const Operation<void(HostObject* sender)> unsubscribeAndDelete{"unsubscribeAndDelete:"};
inline const Operation<void(HostObject* sender)> showTrackingDetails{"showTrackingDetails:"};
}  // namespace banner_quillstead

inline constexpr int kAboveBanner = 3;                       // the edge for hints
inline constexpr const char* kBannerDateAndTime = "yyMdjm";  // short, as a skeleton of a date pattern

}  // namespace qs
