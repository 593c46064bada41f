#include "Services/QSServiceConfiguration.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Services/QSService.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

Value shipped() {
    const auto path = QSSession::current().bundle().pathForResource("ServiceConfiguration", "plist");
    const auto text = FileSystem::real().read(path);
    const auto parsed = text ? parsePropertyList(*text) : failed(text);
    if (parsed) return *parsed;
    logError("The configuration of the services can't be read: " + parsed.error().description);
    return {};
}

}  // namespace

QSServiceConfiguration QSServiceConfiguration::forServiceType(std::int32_t type) {
    QSServiceConfiguration made;
    const std::string identifier = QSService::identifierForServiceType(type).value_or("");
    made.values_ = shipped()[identifier].dictionary();
    const Value own = QSPluginDelegate::quillsteadDefaults().objectForKey("QSServiceConfiguration");
    for (const auto& [key, value] : own[identifier].dictionary())
        made.values_[key] = value;
    return made;
}

std::string QSServiceConfiguration::text(std::string_view key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? std::string() : found->second.stringValue();
}

std::vector<std::string> QSServiceConfiguration::missingKeys() const {
    std::vector<std::string> missing;
    const auto required = values_.find("RequiredKeys");
    if (required == values_.end()) return missing;
    for (const Value& key : required->second.array())
        if (text(key.stringValue()).empty()) missing.push_back(key.stringValue());
    return missing;
}

}  // namespace qs
