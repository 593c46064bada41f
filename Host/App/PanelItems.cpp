#include "PanelItems.h"

#include "BundleLoader.h"
#include "Foundation/RunLoop.h"
#include "Images/Image.h"
#include "MailApplication.h"
#include "Models/StatusItem.h"
#include "StatusNotifier/StatusNotifierItem.h"
#include "Text/Color.h"

namespace qs {

namespace {

constexpr ImageSize kIconSize{44, 44};  // twice the size of most panels
// Of a shape in one colour: it can be seen on light and dark panels.
const Color kIconColor = Color::colorWithHex(0x4FA3A8FF);

std::optional<Image> iconFrom(const BundleLoader& bundles, std::string name) {
    constexpr std::string_view kPrefix = "plugin:";
    if (name.starts_with(kPrefix)) name.erase(0, kPrefix.size());
    const std::string svg = bundles.image(name);
    auto image = Image::imageWithData(svg, {}, kIconSize);
    if (svg.empty() || !image) return std::nullopt;
    return image->imageTintedWithColor(kIconColor);
}

}  // namespace

PanelItems::PanelItems(MailApplication& application, const BundleLoader& bundles, std::function<void()> openPageIfNone)
    : application_(application), bundles_(bundles), openPageIfNone_(std::move(openPageIfNone)) {
    observation_ = NotificationCenter::defaultCenter().addObserver(std::string(StatusBarDidChangeNotification),
                                                                   [this](const Notification&) { followSoon(); });
    followSoon();
}

PanelItems::~PanelItems() = default;

// An item gets its title and picture one after the other.
void PanelItems::followSoon() {
    if (std::exchange(isDue_, true)) return;
    RunLoop::main().post([this, alive = std::weak_ptr(alive_)] {
        if (alive.expired()) return;
        isDue_ = false;
        follow();
    });
}

void PanelItems::follow() {
    std::map<std::string, Shown> now;
    for (const auto& item : StatusBar::systemStatusBar().statusItems()) {
        auto& shown = now[item->identifier()];
        const auto before = shown_.find(item->identifier());
        const bool isSame = before != shown_.end() && before->second.title == item->title() &&
                            before->second.image == item->imageName();
        if (isSame)
            shown = std::move(before->second);
        else
            shown = {item->title(), item->imageName(), show(*item)};
    }
    shown_ = std::move(now);
}

std::unique_ptr<StatusNotifierItem> PanelItems::show(const StatusItem& item) {
    return StatusNotifierItem::show(
        {.identifier = "quillstead", .title = item.title(), .icon = iconFrom(bundles_, item.imageName())},
        [this, identifier = item.identifier()] { activate(identifier); });
}

void PanelItems::activate(const std::string& identifier) {
    const auto item = StatusBar::systemStatusBar().itemWithIdentifier(identifier);
    if (!item) return;
    openPageIfNone_();
    application_.sendAction(item->action(), item->target().get(), item.get());
}

}  // namespace qs
