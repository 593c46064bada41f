// The items of the status bar in the desktop's panel, too, where there is one that shows such items. A click does what
// it does in the page, and opens the page if none is open.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Foundation/NotificationCenter.h"

namespace qs {

class BundleLoader;
class MailApplication;
class StatusItem;
class StatusNotifierItem;

class PanelItems {
public:
    // Until it goes, which must be before the application and the bundles do. Main thread.
    PanelItems(MailApplication& application, const BundleLoader& bundles, std::function<void()> openPageIfNone);
    ~PanelItems();

private:
    void followSoon();
    void follow();
    std::unique_ptr<StatusNotifierItem> show(const StatusItem& item);
    void activate(const std::string& identifier);

    MailApplication& application_;
    const BundleLoader& bundles_;
    std::function<void()> openPageIfNone_;
    struct Shown {
        std::string title, image;
        std::unique_ptr<StatusNotifierItem> item;
    };
    std::map<std::string, Shown> shown_;
    ObservationRef observation_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    bool isDue_ = false;
};

}  // namespace qs
