#include "Tracking/QSTrackingPixelOpenViewController.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Text/Escapes.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

constexpr int kAbove = 3;
constexpr const char* kDateFields = "yMMMMEEEEdjm";

std::string dateText(const QSTrackingPixelOpen& open) {
    const auto date = open.date();
    return date ? formatDate(*date, {.pattern = localizedDatePattern(kDateFields), .locale = {}}) : std::string();
}

// What is known of city and country.
std::string placeOf(const std::string& city, const std::string& country, const char* bothFormat) {
    if (!city.empty() && !country.empty()) return stringWithFormat(bothFormat, {city, country});
    return city.empty() ? country : city;
}

FormOption rowFor(const QSTrackingPixelOpen& open, std::int64_t index) {
    FormOption row{.title = dateText(open), .value = index, .imageName = {}};
    const auto add = [&row](const std::string& icon, const std::string& text) {
        if (!text.empty()) row.facts.push_back({icon.empty() ? icon : "plugin:" + icon, text});
    };
    add(open.systemIcon(), open.system());
    add(open.applicationIcon(), open.application());
    if (!open.userAgent()) add({}, QSLocalizedString("It was answered."));
    row.detail = placeOf(open.city().value_or(""), open.country().value_or(""), "%@, %@");
    return row;
}

}  // namespace

QSTrackingPixelOpenViewController& QSTrackingPixelOpenViewController::sharedController() {
    return QSSession::current().part<QSTrackingPixelOpenViewController>();
}

QSTrackingPixelOpenViewController::QSTrackingPixelOpenViewController()
    : popover_(std::make_shared<Popover>("TrackingPixelOpenView")) {}

QSTrackingPixelOpenViewController::~QSTrackingPixelOpenViewController() = default;

void QSTrackingPixelOpenViewController::showRelativeTo(const std::shared_ptr<View>& view) {
    FormControl table{.kind = FormControl::Kind::Table, .id = "opens"};
    table.label = QSLocalizedString("Opens of this message");
    table.rowButton = QSLocalizedString("Show on a map");
    table.rowButtonImage = "plugin:MapTemplate";
    for (std::size_t i = 0; i < opens.size(); ++i)
        table.options.push_back(rowFor(*opens[i], static_cast<std::int64_t>(i)));
    table.onChange = [this](const Value& row) {
        const auto index = static_cast<std::size_t>(row.integerValue());
        showOnMap(index < opens.size() ? opens[index].get() : nullptr);
    };
    auto form = std::make_shared<FormModel>();
    form->identifier = popover_->identifier();
    form->title = table.label;
    form->groups.push_back({.title = {}, .note = {}, .controls = {std::move(table)}});
    popover_->content.form = std::move(form);
    // What was shown is not kept: records may be removed meanwhile.
    popover_->onClose = [this] {
        opens.clear();
        popover_->content.form = nullptr;
    };
    popover_->showRelativeTo(view, kAbove);
    noteModelChange();
}

void QSTrackingPixelOpenViewController::showOnMap(const QSTrackingPixelOpen* open) {
    const auto escaped = [](const std::optional<std::string>& text) { return urlEncodedString(text.value_or("")); };
    const std::string place = open ? placeOf(escaped(open->city()), escaped(open->country()), "%@,%@") : std::string();
    const auto workspace = Platform::current().workspace;
    if (place.empty() || !workspace) return beep();
    std::string address = QSPluginDelegate::quillsteadDefaults().stringForKey("QSMapURL");
    constexpr std::string_view kPlace = "%@";
    for (auto at = address.find(kPlace); at != std::string::npos; at = address.find(kPlace, at + place.size()))
        address.replace(at, kPlace.size(), place);
    if (const auto opened = workspace->openURL(address); !opened) {
        logWarning("The map can't be opened: " + opened.error().description);
        beep();
    }
}

}  // namespace qs
