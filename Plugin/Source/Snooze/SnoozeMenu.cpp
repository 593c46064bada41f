// The menu of snoozing: a mode for each item, with the date that it stands for now.
#include <array>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/RelativeDateText.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Value.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Settings/UserDefaults.h"
#include "Snooze/QSSnoozeManager.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr const char* kMenuTitle = "SnoozeOptions";
constexpr const char* kCustomDateKey = "QSSnoozeLastCustomDate";
constexpr TimeInterval kCustomDistance = 10800;  // from now, before anybody has chosen a date

struct SnoozeItem {
    const char* title;  // null: a separator
    int mode;
};
constexpr SnoozeItem kItems[] = {
    {"+1 hour", kSnoozeOneHour},
    {"+3 hours", kSnoozeThreeHours},
    {nullptr, 0},
    {"Today evening", kSnoozeTodayEvening},
    {nullptr, 0},
    {"Tomorrow morning", kSnoozeTomorrowMorning},
    {"Tomorrow evening", kSnoozeTomorrowEvening},
    {nullptr, 0},
    {"+1 week", kSnoozeOneWeek},
    {"+1 month", kSnoozeOneMonth},
    {nullptr, 0},
};

// Of modes 3 to 6, when their date was moved to a working day.
constexpr std::array kShiftedTitles{"Next workday morning", "Next workday evening", "Next workday in one week",
                                    "Next workday in one month"};

UserDefaults& settings() { return QSPluginDelegate::quillsteadDefaults(); }

void addMode(Menu& menu, const char* title, int mode) {
    menu.addItemWithTitle(QSLocalizedString(title), "snooze:", "")->setTag(mode);
}

std::shared_ptr<MenuItem> heading() {
    auto item = std::make_shared<MenuItem>(QSLocalizedString("Snooze until"), "");
    item->setHeading(true);
    return item;
}

std::shared_ptr<MenuItem> datePicker(std::weak_ptr<Menu> menu) {
    auto form = std::make_shared<FormModel>();
    form->identifier = "SnoozeCustomDate";
    const auto last = settings().objectForKey(kCustomDateKey).dateValue();
    FormControl date{.kind = FormControl::Kind::DateTime,
                     .id = "customDate",
                     .label = QSLocalizedString("Custom Date"),
                     .value = last.value_or(RunLoop::main().now() + kCustomDistance)};
    date.onChange = [menu](const Value& value) {
        settings().setObject(value, kCustomDateKey);
        if (const auto shown = menu.lock()) shown->update();
    };
    form->groups.push_back({.controls = {std::move(date)}});
    auto item = std::make_shared<MenuItem>(QSLocalizedString("Custom Date"), "");
    item->setForm(std::move(form));
    return item;
}

// Without the date that an earlier time has put there.
std::string plainTitle(const std::string& title) {
    return std::string(trimmedAscii(std::string_view(title).substr(0, title.find('('))));
}

}  // namespace

std::shared_ptr<Menu> QSSnoozeManager::snoozeOptionsMenu() {
    auto menu = std::make_shared<Menu>(kMenuTitle);
    menu->addItem(heading());
    for (const SnoozeItem& item : kItems) {
        if (item.title)
            addMode(*menu, item.title, item.mode);
        else
            menu->addItem(MenuItem::separatorItem());
    }
    menu->addItem(datePicker(menu));
    addMode(*menu, "Use custom date", kSnoozeCustomDate);
    menu->setUpdateHandler([this, alive = std::weak_ptr(alive_)](Menu& shown) {
        if (!alive.expired()) menuNeedsUpdate(shown);
    });
    menu->update();
    return menu;
}

void QSSnoozeManager::menuNeedsUpdate(Menu& menu) const {
    if (menu.title() != kMenuTitle) return;
    const Date now = RunLoop::main().now();
    const std::int64_t defaultMode = settings().integerForKey("QSSnoozeModeDefaultMode");
    for (const auto& item : menu.itemArray()) {
        if (item->action().empty()) continue;
        const int mode = item->tag();
        const auto [date, shifted] = snoozeDateForMode(mode);
        item->setEnabled(date.isAheadOf(now));
        item->setState(mode == defaultMode ? 1 : 0);
        std::string title = plainTitle(item->title());
        // Keeps that title until the menu is built again.
        if (shifted && mode >= kSnoozeTomorrowMorning && mode <= kSnoozeOneMonth)
            title = QSLocalizedString(kShiftedTitles[static_cast<std::size_t>(mode - kSnoozeTomorrowMorning)]);
        item->setTitle(std::move(title), stringWithFormat(" (%@)", {relativeDateText(date, now)}));
    }
}

}  // namespace qs
