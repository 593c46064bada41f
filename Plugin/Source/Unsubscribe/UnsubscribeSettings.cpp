#include "Unsubscribe/UnsubscribeSettings.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/NotificationCenter.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Settings/UserDefaults.h"
#include "Unsubscribe/UnsubscribeLog.h"

namespace qs {

namespace {

constexpr const char* kShowBanner = "QSShowUnsubscribeBanner";

FormOption rowOf(const UnsubscribeStep& step) {
    FormOption row{.title = formatDate(step.date, {.pattern = localizedDatePattern(kBannerDateAndTime), .locale = {}}),
                   .value = {},
                   .imageName = {}};
    if (!step.newsletter.empty()) row.facts.push_back({.imageName = {}, .text = step.newsletter});
    row.detail = step.asked + " " + step.answer;
    return row;
}

}  // namespace

FormGroup newslettersGroup() {
    FormGroup group{.title = QSLocalizedString("Newsletters"), .note = {}, .controls = {}};
    FormControl offer{.kind = FormControl::Kind::CheckBox, .id = kShowBanner};
    offer.label = QSLocalizedString("Offer to unsubscribe from newsletters");
    offer.value = QSPluginDelegate::quillsteadDefaults().boolForKey(kShowBanner);
    offer.onChange = [](const Value& value) {
        QSPluginDelegate::quillsteadDefaults().setObject(value, kShowBanner);
        NotificationCenter::defaultCenter().post(std::string(QSBannerViewInfoDidChangeNotification));
    };
    group.controls.push_back(std::move(offer));
    const auto steps = unsubscribeSteps();
    if (steps.empty()) return group;
    FormControl table{.kind = FormControl::Kind::Table, .id = "unsubscribeSteps"};
    table.label = QSLocalizedString("What was asked of whom");
    for (const UnsubscribeStep& step : steps)
        table.options.push_back(rowOf(step));
    group.controls.push_back(std::move(table));
    return group;
}

}  // namespace qs
