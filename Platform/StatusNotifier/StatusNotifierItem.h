// A picture in the desktop's panel that can be clicked: an item of the kind that panels find over the session bus
// (https://www.freedesktop.org/wiki/Specifications/StatusNotifierItem/). Without a bus, or a panel that shows such
// items, there is nothing to see; when a panel comes, or comes back, the item is told to it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Images/Image.h"

namespace qs {

struct StatusNotifierFacts {
    std::string identifier;  // the program's, for the panel's settings
    std::string title;       // what it is, told over the picture
    std::optional<Image> icon;
};

class StatusNotifierItem {
public:
    virtual ~StatusNotifierItem() = default;  // takes it away
    virtual bool isShown() const = 0;         // a panel took it

    // `activated` is called on the main thread for each click, as long as the item lives. Null without a session bus.
    static std::unique_ptr<StatusNotifierItem> show(StatusNotifierFacts facts, std::function<void()> activated);
};

}  // namespace qs
