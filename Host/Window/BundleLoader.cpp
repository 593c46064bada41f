#include "BundleLoader.h"

#include <dlfcn.h>

#include <algorithm>

#include "Application/Bundles.h"
#include "Foundation/Assertion.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/Runtime.h"
#include "Text/Ascii.h"

namespace qs {
namespace {

constexpr const char* kExtension = ".mailbundle";
constexpr std::uintmax_t kLargestImage = 1'000'000;  // bytes

struct Loaded {
    std::shared_ptr<Bundle> bundle;
    MailBundleUnloadFunction unload = nullptr;
};

// The reason alone; loadAll() puts the name before it.
tl::unexpected<Error> refused(std::string_view format, std::initializer_list<Value> arguments = {}) {
    return failure("BundleLoader", 1, stringWithFormat(format, arguments));
}

std::string infoText(const Bundle& bundle, std::string_view key) {
    const auto found = bundle.infoDictionary().find(key);
    return found == bundle.infoDictionary().end() ? std::string() : found->second.stringValue();
}

std::vector<std::filesystem::path> bundleFolders(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> found;
    const auto entries = FileSystem::real().list(folder);
    if (!entries) return found;  // no folder, no bundles
    for (const FileInfo& entry : *entries)
        if (entry.path.extension() == kExtension) found.push_back(entry.path);
    std::ranges::sort(found, {}, [](const auto& path) { return path.filename(); });
    return found;
}

template <class Function>
Function symbol(void* library, const char* name) {
    return reinterpret_cast<Function>(dlsym(library, name));
}

// The library stays open for the life of the process: its code may stand in tables of the runtime.
Result<void*> openLibrary(const Bundle& bundle) {
    std::string file = infoText(bundle, "CFBundleExecutable");
    if (file.empty()) file = bundle.path().stem().string() + ".so";
    if (file.find('/') != std::string::npos) return refused("Its Info.plist names a library outside of its folder.");
    const std::filesystem::path path = std::filesystem::absolute(bundle.path()) / file;
    if (!FileSystem::real().exists(path)) return refused("It has no library %@.", {file});
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library) return library;
    const char* reason = dlerror();
    return refused("Its library can't be opened: %@.", {reason ? reason : "no reason was given"});
}

// What the library throws ends here.
Result<void> runEntry(MailBundleLoadFunction entry, const std::shared_ptr<Bundle>& bundle) {
    try {
        entry(bundle);
        return {};
    } catch (const std::exception& fault) {
        logCaughtException("A plug-in could not start");
        return refused("It failed while it started: %@", {fault.what()});
    } catch (...) {
        return refused("It failed while it started.");
    }
}

void runUnload(MailBundleUnloadFunction unload) {
    if (!unload) return;
    try {
        unload();
    } catch (const std::exception&) {
        logCaughtException("A plug-in could not end in good order");
    } catch (...) {
        logError("A plug-in could not end in good order.");
    }
}

Result<Loaded> load(const std::filesystem::path& folder) {
    auto bundle = Bundle::open(folder);
    if (!bundle) return failed(bundle);
    const std::string principal = infoText(**bundle, "NSPrincipalClass");
    if (principal.empty()) return refused("Its Info.plist names no principal class.");
    const auto library = openLibrary(**bundle);
    if (!library) return failed(library);
    const auto entry = symbol<MailBundleLoadFunction>(*library, "MailBundleLoad");
    if (!entry) return refused("Its library is no plug-in for this program: it has no MailBundleLoad.");
    const auto unload = symbol<MailBundleUnloadFunction>(*library, "MailBundleUnload");
    if (auto started = runEntry(entry, *bundle); !started) return failed(started);
    if (!NSClassFromString(principal)) {
        runUnload(unload);
        return refused("It did not bring its principal class %@.", {principal});
    }
    return Loaded{*bundle, unload};
}

}  // namespace

struct BundleLoader::Held {
    std::vector<std::shared_ptr<Bundle>> bundles;
    std::vector<MailBundleUnloadFunction> unloads;  // of the bundles, in their order
};

BundleLoader::BundleLoader() : held_(std::make_unique<Held>()) {}

BundleLoader::~BundleLoader() { unloadAll(); }

std::vector<std::string> BundleLoader::loadAll(const std::vector<std::filesystem::path>& folders) {
    std::vector<std::string> sentences;
    std::vector<std::filesystem::path> names;
    for (const auto& bundle : held_->bundles)
        names.push_back(bundle->path().filename());
    for (const auto& folder : folders)
        for (const auto& path : bundleFolders(folder)) {
            if (std::ranges::find(names, path.filename()) != names.end()) {
                logInfo("Left out, as a plug-in of that name comes first: " + path.string());
                continue;
            }
            names.push_back(path.filename());
            auto loaded = load(path);
            if (!loaded) {
                sentences.push_back(stringWithFormat("The plug-in %@ could not be loaded. %@",
                                                     {path.stem().string(), loaded.error().description}));
                logError(sentences.back());
                continue;
            }
            logInfo("Loaded the plug-in " + path.string());
            held_->bundles.push_back(loaded->bundle);
            held_->unloads.push_back(loaded->unload);
        }
    return sentences;
}

// The last one first. Their patches stay in the classes, so the host must not use those any more.
void BundleLoader::unloadAll() {
    while (!held_->unloads.empty()) {
        const auto unload = held_->unloads.back();
        held_->unloads.pop_back();
        runUnload(unload);
    }
    held_->bundles.clear();
    MailBundleRegistry::clear();
}

const std::vector<std::shared_ptr<Bundle>>& BundleLoader::bundles() const { return held_->bundles; }

std::string BundleLoader::image(std::string_view name) const {
    // Names come from the page.
    const bool isPlain = std::ranges::all_of(
        name, [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '_' || c == '-' || c == '+'; });
    if (!isPlain) return {};
    for (const auto& bundle : held_->bundles) {
        const auto path = bundle->pathForResource(name, "svg");
        const auto info = path.empty() ? std::nullopt : std::optional(FileSystem::real().info(path));
        if (!info || !*info || (*info)->size > kLargestImage) continue;
        if (auto text = FileSystem::real().read(path)) return *text;
    }
    return {};
}

}  // namespace qs
