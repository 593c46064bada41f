#include "Foundation/Bundle.h"

#include <cstdlib>
#include <mutex>
#include <vector>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"

namespace qs {

namespace {

constexpr std::string_view kBundleErrorDomain = "Bundle";
enum class BundleError { NoFolder = 1, NoInfo, DamagedInfo };

tl::unexpected<Error> bundleFailure(BundleError code, std::string_view format, const std::filesystem::path& folder,
                                    std::string_view detail = {}) {
    return failure(std::string(kBundleErrorDomain), static_cast<int>(code),
                   stringWithFormat(format, {folder.filename().string(), detail}));
}

// A name that leads out of the resources folder names nothing.
bool isPlainName(std::string_view name) {
    return !name.empty() && name.front() != '/' && name.find("..") == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
}

// As the desktop tells them: LANGUAGE is a list ("de:fr"), the others are single locales ("de_DE.UTF-8").
std::vector<std::string> userLanguages() {
    std::vector<std::string> languages;
    const auto add = [&](std::string language) {
        if (language.empty() || language == "C" || language == "POSIX") return;
        languages.push_back(language);
        if (const auto region = language.find('_'); region != std::string::npos)
            languages.push_back(language.substr(0, region));
    };
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
        std::string_view rest = value ? value : "";
        while (!rest.empty()) {
            const std::string_view one = rest.substr(0, rest.find(':'));
            add(std::string(one.substr(0, one.find_first_of(".@"))));
            rest.remove_prefix(std::min(rest.size(), one.size() + 1));
        }
        if (!languages.empty()) break;
    }
    languages.emplace_back("en");
    return languages;
}

struct MainBundle {
    std::mutex lock;
    std::shared_ptr<const Bundle> bundle;

    static MainBundle& shared() {
        static MainBundle main;
        return main;
    }
};

}  // namespace

// The tables of texts, read when first asked for.
struct Bundle::Tables {
    std::mutex lock;
    std::map<std::string, std::vector<Value>, std::less<>> byName;  // each in the order of the user's languages
};

Bundle::Bundle() : tables_(std::make_unique<Tables>()) {}
Bundle::~Bundle() = default;

Result<std::shared_ptr<Bundle>> Bundle::open(std::filesystem::path folder) {
    const auto found = FileSystem::real().info(folder);
    if (!found || !found->isFolder)
        return bundleFailure(BundleError::NoFolder, "“%@” is not there, or it is no folder.", folder);
    const auto text = FileSystem::real().read(folder / "Info.plist");
    if (!text)
        return bundleFailure(BundleError::NoInfo, "“%@” is no bundle: its Info.plist cannot be read. %@", folder,
                             text.error().description);
    const auto info = parsePropertyList(*text);
    if (!info || info->type() != Value::Type::Dictionary)
        return bundleFailure(BundleError::DamagedInfo, "The Info.plist of “%@” is damaged. %@", folder,
                             info ? "It is no dictionary." : info.error().description);
    std::shared_ptr<Bundle> bundle(new Bundle);
    bundle->path_ = std::move(folder);
    bundle->info_ = info->dictionary();
    return bundle;
}

std::string Bundle::identifier() const {
    const auto found = info_.find("CFBundleIdentifier");
    return found == info_.end() ? std::string() : found->second.stringValue();
}

std::filesystem::path Bundle::pathForResource(std::string_view name, std::string_view type) const {
    if (!isPlainName(name)) return {};
    std::string file(name);
    if (!type.empty()) file.append(".").append(type);
    std::filesystem::path path = path_ / "Resources" / file;
    const auto info = FileSystem::real().info(path);
    return info && !info->isFolder ? path : std::filesystem::path();
}

std::string Bundle::localizedStringForKey(std::string_view key, std::string_view value, std::string_view table) const {
    const std::string_view missing = value.empty() ? key : value;
    const std::string_view name = table.empty() ? "Localizable" : table;
    if (!isPlainName(name)) return std::string(missing);
    for (const Value& texts : textsNamed(name)) {
        const Value& text = texts[key];
        if (text.type() == Value::Type::String) return text.stringValue();
    }
    return std::string(missing);
}

std::vector<Value> Bundle::textsNamed(std::string_view table) const {
    const std::lock_guard hold(tables_->lock);
    if (const auto found = tables_->byName.find(table); found != tables_->byName.end()) return found->second;
    std::vector<Value> texts;
    for (const std::string& language : userLanguages()) {
        const auto path = path_ / "Resources" / (language + ".lproj") / (std::string(table) + ".strings");
        const auto content = FileSystem::real().read(path);
        if (!content) continue;  // not every language is there
        auto parsed = parsePropertyList(*content);
        if (parsed)
            texts.push_back(std::move(*parsed));
        else
            logError(stringWithFormat("%@: %@", {path.string(), parsed.error().description}));
    }
    return tables_->byName.emplace(table, std::move(texts)).first->second;
}

std::shared_ptr<const Bundle> Bundle::mainBundle() {
    MainBundle& main = MainBundle::shared();
    const std::lock_guard guard(main.lock);
    return main.bundle;
}

void Bundle::setMainBundle(std::shared_ptr<const Bundle> bundle) {
    MainBundle& main = MainBundle::shared();
    const std::lock_guard guard(main.lock);
    main.bundle = std::move(bundle);
}

}  // namespace qs
