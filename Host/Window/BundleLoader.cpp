#include "BundleLoader.h"

#include <dlfcn.h>

#include <algorithm>
#include <set>

#include "Application/Bundles.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/Runtime.h"

namespace qs {

namespace {

constexpr std::string_view kEnding = ".mailbundle";

std::string infoText(const Bundle& bundle, std::string_view key) {
    const auto found = bundle.infoDictionary().find(key);
    return found == bundle.infoDictionary().end() ? std::string() : found->second.stringValue();
}

// A name in the bundle's own folder: Info.plist can't lead elsewhere.
std::filesystem::path libraryOf(const Bundle& bundle) {
    std::string name = infoText(bundle, "CFBundleExecutable");
    if (name.empty()) name = bundle.path().stem().string() + ".so";
    return bundle.path() / std::filesystem::path(name).filename();
}

template <class Function>
Function symbol(void* library, const char* name) {
    return reinterpret_cast<Function>(dlsym(library, name));
}

std::vector<std::filesystem::path> bundleFolders(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> result;
    auto listing = FileSystem::real().list(folder);
    if (!listing) return result;
    for (const auto& entry : *listing)
        if (entry.path.filename().string().ends_with(kEnding)) result.push_back(entry.path);
    std::sort(result.begin(), result.end());
    return result;
}

struct Opened {
    std::shared_ptr<Bundle> bundle;
    MailBundleUnloadFunction unload = nullptr;
};

Error notLoaded(const std::string& sentence) { return {"BundleLoader", 1, sentence, {}}; }

// Runs the bundle's own start; what it throws ends here.
Result<void> start(MailBundleLoadFunction load, const std::shared_ptr<Bundle>& bundle) {
    try {
        load(bundle);
        return {};
    } catch (const std::exception& fault) {
        logError("The bundle " + bundle->path().string() + " failed while it was loaded: " + fault.what());
        return failure(notLoaded("It failed while it was being loaded; the log tells more."));
    }
}

Result<Opened> open(const std::filesystem::path& folder) {
    auto bundle = Bundle::open(folder);
    if (!bundle) return failed(bundle);
    const auto file = libraryOf(**bundle);
    if (!FileSystem::real().exists(file))
        return failure(notLoaded("It has no library " + file.filename().string() + "."));
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* reason = dlerror();
        logError("The bundle's library can't be opened: " + std::string(reason ? reason : "unknown reason"));
        return failure(notLoaded("Its library can't be opened; the log tells more."));
    }
    const auto load = symbol<MailBundleLoadFunction>(library, "MailBundleLoad");
    if (!load) return failure(notLoaded("Its library is no plug-in for this program."));
    if (auto started = start(load, *bundle); !started) return failed(started);
    const Opened opened{*bundle, symbol<MailBundleUnloadFunction>(library, "MailBundleUnload")};
    const std::string principal = infoText(**bundle, "NSPrincipalClass");
    if (!principal.empty() && NSClassFromString(principal)) return opened;
    if (opened.unload) opened.unload();
    return failure(notLoaded(principal.empty() ? "Its Info.plist names no principal class."
                                               : "It has no class " + principal + "."));
}

}  // namespace

struct BundleLoader::Held {
    std::vector<Opened> opened;
    std::vector<std::shared_ptr<Bundle>> bundles;
};

BundleLoader::BundleLoader() : held_(std::make_unique<Held>()) {}

BundleLoader::~BundleLoader() { unloadAll(); }

std::vector<std::string> BundleLoader::loadAll(const std::vector<std::filesystem::path>& folders) {
    std::vector<std::string> sentences;
    std::set<std::string> names;
    for (const auto& folder : folders)
        for (const auto& path : bundleFolders(folder)) {
            if (!names.insert(path.filename().string()).second) continue;
            auto opened = open(path);
            if (opened) {
                held_->bundles.push_back(opened->bundle);
                held_->opened.push_back(std::move(*opened));
                logInfo("The plug-in " + path.string() + " is loaded.");
            } else {
                sentences.push_back("The plug-in " + path.stem().string() + " could not be loaded. " +
                                    opened.error().description);
            }
        }
    return sentences;
}

// The last first, as a later one may stand on an earlier.
void BundleLoader::unloadAll() {
    for (auto each = held_->opened.rbegin(); each != held_->opened.rend(); ++each)
        if (each->unload) each->unload();
    held_->opened.clear();
    held_->bundles.clear();
}

const std::vector<std::shared_ptr<Bundle>>& BundleLoader::bundles() const { return held_->bundles; }

std::string BundleLoader::image(std::string_view name) const {
    const bool isPlain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) || c == '_' || c == '-';
    });
    if (!isPlain) return {};
    for (const auto& bundle : held_->bundles) {
        auto path = bundle->pathForResource(name, "svg");
        auto text = path.empty() ? Result<std::string>() : FileSystem::real().read(path);
        if (text && !text->empty()) return *text;
    }
    return {};
}

}  // namespace qs
