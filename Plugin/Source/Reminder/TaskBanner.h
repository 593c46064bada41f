// The banner above a message with an open task: a check box that completes it, and when it is due. Main thread.
#pragma once

namespace qs {

class BannerViewController;

bool showsTaskBanner(const BannerViewController& banner);
void showTaskBanner(BannerViewController& banner);

}  // namespace qs
