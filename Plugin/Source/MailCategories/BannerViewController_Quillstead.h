// The plug-in's own banners. Main thread.
#pragma once

#include "Foundation/Runtime.h"

namespace qs {

// Kept with a banner as "bannerViewType"; the host's banners have none.
enum class BannerViewType { None = 0, Unsubscribe = 1, Tracking = 2, Task = 3 };

namespace banner_quillstead {
inline const Operation<int()> bannerViewType{"bannerViewType"};
inline const Operation<void(int type)> setBannerViewType{"setBannerViewType:"};
inline const Operation<void()> updateAndShow{"updateAndShow"};
inline const Operation<void(HostObject* sender)> showTrackingDetails{"showTrackingDetails:"};
}  // namespace banner_quillstead

}  // namespace qs
