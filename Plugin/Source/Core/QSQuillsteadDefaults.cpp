// The settings of the plug-in: one suite of its own, opened once, with the shipped defaults beneath.
#include <mutex>

#include "Application/Preferences.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr std::string_view kSuite = "com.tallowbay.Quillstead";

Dictionary shippedDefaults(const Bundle& bundle) {
    auto path = bundle.pathForResource("QuillsteadDefaults", "plist");
    auto text =
        path.empty() ? failure("Settings", 1, "the shipped settings are missing") : FileSystem::real().read(path);
    auto parsed = text ? parsePropertyList(*text) : failed(text);
    if (!parsed) {
        // The program goes on: every setting that was never set then reads as 0, no or nil.
        logWarning("The shipped settings could not be read: " + parsed.error().description);
        return {};
    }
    return parsed->dictionary();
}

// A property list holds points in time in UTC, but of a time of day only hour and minute count, in the person's zone.
// So a shipped "08:00" is taken as 08:00 wherever the person is.
Dictionary withLocalTimesOfDay(Dictionary defaults) {
    for (auto& [key, value] : defaults)
        if (auto date = value.dateValue(); date && value.type() == Value::Type::Date) {
            constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";
            auto wallTime = formatDate(*date, {kPattern, "en_US_POSIX", "UTC"});
            if (auto local = parseDate(wallTime, {kPattern, "en_US_POSIX", ""})) value = *local;
        }
    return defaults;
}

void noteVersion(UserDefaults& defaults, const Bundle& bundle) {
    const auto& info = bundle.infoDictionary();
    auto found = info.find("CFBundleVersion");
    const std::int64_t version = found == info.end() ? 0 : found->second.integerValue();
    if (defaults.integerForKey("QSQuillsteadVersion") == version) {
        defaults.setObject(false, "QSQuillsteadNewVersion");
    } else {
        defaults.setObject(version, "QSQuillsteadVersion");
        defaults.setObject(true, "QSQuillsteadNewVersion");
    }
}

// Earlier releases kept their keys among the host's own. These are two files, so a key must be safe in the one before
// it goes from the other.
void takeOverFromHost(UserDefaults& defaults, UserDefaults& standard) {
    Dictionary keys = standard.dictionaryRepresentation();
    std::erase_if(keys, [](const auto& entry) { return !entry.first.starts_with("QS"); });
    if (keys.empty()) return;
    for (const auto& [key, value] : keys)
        defaults.setObject(value, key);
    if (const auto saved = defaults.synchronize(); !saved)
        return logError("The settings of an earlier release stay where they were, too: " + saved.error().description);
    for (const auto& [key, value] : keys)
        standard.removeObjectForKey(key);
}

void migrateFromHost(UserDefaults& defaults) {
    auto standard = UserDefaults::suite("");
    takeOverFromHost(defaults, *standard);
    standard->setObject(true, "EnableContactPhotos");
    viewer_preferences::postContactPhotoPreferenceChanged.onClass(NSClassFromString("ViewerPreferences"));
}

}  // namespace

UserDefaults& QSPluginDelegate::quillsteadDefaults() {
    auto& session = QSSession::current();
    std::call_once(session.defaultsOnce_, [&session] {
        session.defaults_ = UserDefaults::suite(kSuite);
        session.defaults_->registerDefaults(withLocalTimesOfDay(shippedDefaults(session.bundle())));
        noteVersion(*session.defaults_, session.bundle());
        if (!session.defaults_->boolForKey("QSSettingsOnce")) {
            migrateFromHost(*session.defaults_);
            session.defaults_->setObject(true, "QSSettingsOnce");
        }
        session.defaultsController_ = std::make_unique<UserDefaultsController>(session.defaults_);
    });
    return *session.defaults_;
}

UserDefaultsController& QSPluginDelegate::quillsteadDefaultsController() {
    quillsteadDefaults();
    return *QSSession::current().defaultsController_;
}

}  // namespace qs
