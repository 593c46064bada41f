// The head of a displayed message: the date at its end, and whatever small pictures stand below that. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Models/View.h"

namespace qs {

class BannerSubject;

struct HeaderImage {
    std::string image, label;  // the picture's name; what it tells, for those who can't see it
    int size = 14;             // points
};

// Small pictures side by side, from right to left in the order in which they were added.
class HeaderImageRow : public View {
public:
    using View::View;
    std::vector<HeaderImage> images;
};

class HeaderViewController : public HostObject {
public:
    explicit HeaderViewController(const std::shared_ptr<Window>& window)
        : HostObject("HeaderViewController"), window_(window) {}

    struct DateView {
        std::string text;
    };
    DateView dateView;
    std::vector<std::shared_ptr<HeaderImageRow>> belowDate;  // from the top
    std::shared_ptr<BannerSubject> representedObject;        // null while no message is shown
    std::shared_ptr<Window> window() const { return window_.lock(); }

private:
    std::weak_ptr<Window> window_;
};

// Exchangeable. Called whenever something of the shown message may have changed.
namespace header_view {
// The sender's picture; by the first name from OS minor 12 on, by the other before. (This host's page fetches the
// picture by itself.)
inline const Operation<void()> updateAvatarView{"_updateAvatarView"};
inline const Operation<void()> updateSenderImageView{"_updateSenderImageView"};
inline const Operation<void()> updateDateView{"_updateDateView"};
}  // namespace header_view

}  // namespace qs
