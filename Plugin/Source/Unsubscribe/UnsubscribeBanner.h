// The banner above a newsletter: its two forms, and what its button does. Main thread.
#pragma once

namespace qs {

class BannerViewController;

void showUnsubscribeBanner(BannerViewController& banner);

enum class AfterUnsubscribing { Stay, Delete };
// For the message that the banner shows. A failure is told to the person.
void unsubscribeFromBanner(BannerViewController& banner, AfterUnsubscribing after);

}  // namespace qs
