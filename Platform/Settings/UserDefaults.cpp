#include "Settings/UserDefaults.h"

#include <map>
#include <mutex>
#include <set>

#include "Files/FolderWatch.h"
#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Settings/SettingsFile.h"

namespace qs {

namespace {

constexpr TimeInterval kWriteDelay = 0.5;  // changes that come close together are written once
constexpr TimeInterval kRetryDelay = 10;   // after a failed write
constexpr std::string_view kStandardName = "standard";

// A block that waits in the run loop. It is known to be gone even if the loop went away and dropped it unrun.
class Scheduled {
public:
    bool isWaiting() const { return !token_.expired(); }
    void clear() { token_.reset(); }
    Block wrap(Block block) {
        auto token = std::make_shared<int>();
        token_ = token;
        return [token = std::move(token), block = std::move(block)] { block(); };
    }

private:
    std::weak_ptr<int> token_;
};

class Suite : public UserDefaults, public std::enable_shared_from_this<Suite> {
public:
    Suite(std::string name, FileSystem& files, std::filesystem::path file)
        : name_(std::move(name)), file_(files, std::move(file)) {
        values_ = file_.open();
        damageReport_ = file_.damageReport();
    }

    const std::string& name() const override { return name_; }

    void registerDefaults(const Dictionary& defaults) override {
        const std::lock_guard hold(lock_);
        for (const auto& [key, value] : defaults)
            registered_.insert_or_assign(key, value);
    }

    Value objectForKey(std::string_view key) const override {
        const std::lock_guard hold(lock_);
        if (const auto found = values_.find(key); found != values_.end()) return found->second;
        const auto found = registered_.find(key);
        return found == registered_.end() ? Value() : found->second;
    }

    void setObject(Value value, std::string_view key) override {
        {
            const std::lock_guard hold(lock_);
            const auto found = values_.find(key);
            const bool isSet = found != values_.end();
            if (isSet ? found->second == value : value.isNil()) return;
            if (value.isNil())
                values_.erase(found);
            else
                values_.insert_or_assign(std::string(key), value);
            unsaved_.insert_or_assign(std::string(key), std::move(value));
        }
        scheduleWrite(kWriteDelay);
        announce({std::string(key)});
    }
    void removeObjectForKey(std::string_view key) override { setObject({}, key); }

    Dictionary dictionaryRepresentation() const override {
        const std::lock_guard hold(lock_);
        Dictionary all = values_;
        all.insert(registered_.begin(), registered_.end());
        return all;
    }
    Dictionary setValues() const override {
        const std::lock_guard hold(lock_);
        return values_;
    }

    Result<void> synchronize() override {
        Keys changed;
        Result<void> saved;
        {
            const std::lock_guard hold(fileLock_);
            if (isClosed_) return {};
            changed = takeUpOutsideChanges();
            saved = write();
        }
        if (!changed.empty()) announce(std::move(changed));
        return saved;
    }

    std::string takeDamageReport() override {
        const std::lock_guard hold(lock_);
        return std::exchange(damageReport_, {});
    }

    // The file was perhaps changed by somebody else. Any thread but the main one, as it reads.
    void checkFile() {
        Keys changed;
        {
            const std::lock_guard hold(fileLock_);
            if (!isClosed_) changed = takeUpOutsideChanges();
        }
        if (!changed.empty()) announce(std::move(changed));
    }
    // From now on nothing is read or written: the suite belongs to a former life.
    void close() {
        const std::lock_guard hold(fileLock_);
        isClosed_ = true;
    }

private:
    using Keys = std::set<std::string>;

    // What was set here and is not yet written wins over what is in the file. Under the file lock.
    Keys takeUpOutsideChanges() {
        auto fresh = file_.changedFromOutside();
        if (!fresh) return {};
        Keys changed;
        const std::lock_guard hold(lock_);
        for (const auto& [key, value] : unsaved_) {
            if (value.isNil())
                fresh->erase(key);
            else
                fresh->insert_or_assign(key, value);
        }
        for (const auto& [key, value] : *fresh)
            if (const auto old = values_.find(key); old == values_.end() || !(old->second == value))
                changed.insert(key);
        for (const auto& [key, value] : values_)
            if (!fresh->contains(key)) changed.insert(key);
        values_ = std::move(*fresh);
        return changed;
    }

    // Under the file lock.
    Result<void> write() {
        Dictionary values, unsaved;
        {
            const std::lock_guard hold(lock_);
            if (unsaved_.empty()) return {};
            values = values_;
            unsaved = std::exchange(unsaved_, {});
        }
        auto saved = file_.save(values);
        if (!saved) {
            {
                const std::lock_guard hold(lock_);
                unsaved_.merge(unsaved);  // what was set meanwhile stays
            }
            // Without a loop it waits for the next change: trying again at once would fail again.
            if (RunLoop::mainIfInstalled()) scheduleWrite(kRetryDelay);
        }
        return saved;
    }

    void writeAndLog() {
        if (const auto saved = synchronize(); !saved)
            logError(stringWithFormat("The settings of “%@” cannot be saved: %@", {name_, saved.error().description}));
    }

    void scheduleWrite(TimeInterval delay) {
        RunLoop* loop = RunLoop::mainIfInstalled();
        if (!loop) return writeAndLog();
        const std::lock_guard hold(lock_);
        if (write_.isWaiting()) return;
        loop->after(delay, write_.wrap([weak = weak_from_this()] {
            // Syncing takes a while on some disks, too long for the main thread.
            RunLoop::main().postToGlobalQueue([weak] {
                if (const auto self = weak.lock()) self->writeAndLog();
            });
        }));
    }

    void announce(Keys keys) {
        RunLoop* loop = RunLoop::mainIfInstalled();
        {
            const std::lock_guard hold(lock_);
            changedKeys_.merge(keys);
            if (loop && notice_.isWaiting()) return;
            if (loop) {
                loop->post(notice_.wrap([weak = weak_from_this()] {
                    if (const auto self = weak.lock()) self->postNotice();
                }));
                return;
            }
        }
        postNotice();
    }

    void postNotice() {
        Array keys;
        {
            const std::lock_guard hold(lock_);
            notice_.clear();
            for (const std::string& key : std::exchange(changedKeys_, {}))
                keys.emplace_back(key);
        }
        NotificationCenter::defaultCenter().post(UserDefaultsDidChangeNotification, nullptr,
                                                 Dictionary{{"suite", name_}, {"keys", std::move(keys)}});
    }

    const std::string name_;

    std::mutex fileLock_;  // taken before lock_
    SettingsFile file_;
    bool isClosed_ = false;

    mutable std::mutex lock_;  // never held while reading, writing or calling out
    Dictionary values_, registered_;
    Dictionary unsaved_;  // nil for what was removed
    Keys changedKeys_;
    Scheduled write_, notice_;
    std::string damageReport_;
};

std::string fileNameOf(std::string_view suite) { return std::string(suite.empty() ? kStandardName : suite) + ".plist"; }

// The suites of the settings folder in force.
struct Suites {
    std::mutex lock;
    std::filesystem::path folder;
    FileSystem* files = nullptr;
    std::map<std::string, std::shared_ptr<Suite>> byFileName;
    std::unique_ptr<FolderWatch> watch;
};

Suites& suites() {
    static auto* all = new Suites;  // never torn down, as others may still read settings while they are
    return *all;
}

void fileWasTouched(std::string_view fileName) {
    std::shared_ptr<Suite> touched;
    {
        Suites& all = suites();
        const std::lock_guard hold(all.lock);
        const auto found = all.byFileName.find(std::string(fileName));
        if (found != all.byFileName.end()) touched = found->second;
    }
    if (touched) touched->checkFile();
}

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::suite(std::string_view name) {
    Suites& all = suites();
    const std::lock_guard hold(all.lock);
    assertThat(all.files != nullptr, "The settings folder must be set before settings are opened.");
    assertThat(name.find('/') == std::string_view::npos, "The name of a settings suite is a file name.");
    std::shared_ptr<Suite>& suite = all.byFileName[fileNameOf(name)];
    if (suite) return suite;
    suite = std::make_shared<Suite>(std::string(name), *all.files, all.folder / fileNameOf(name));
    // Only real files can be changed by others behind our back.
    if (!all.watch && all.files == &FileSystem::real() && all.files->makeFolder(all.folder))
        all.watch = FolderWatch::make(all.folder, fileWasTouched);
    return suite;
}

void UserDefaults::setFolder(std::filesystem::path folder, FileSystem* files) {
    Suites& all = suites();
    std::unique_ptr<FolderWatch> formerWatch;  // ends outside of the lock, which its handler takes
    std::map<std::string, std::shared_ptr<Suite>> former;
    {
        const std::lock_guard hold(all.lock);
        formerWatch = std::move(all.watch);
        former.swap(all.byFileName);
        all.folder = std::move(folder);
        all.files = files ? files : &FileSystem::real();
    }
    for (const auto& [name, suite] : former)
        suite->close();
}

static std::map<std::string, std::shared_ptr<Suite>> openSuites() {
    const std::lock_guard hold(suites().lock);
    return suites().byFileName;
}

std::vector<std::string> UserDefaults::takeDamageReports() {
    std::vector<std::string> reports;
    for (const auto& [name, suite] : openSuites())
        if (auto report = suite->takeDamageReport(); !report.empty()) reports.push_back(std::move(report));
    return reports;
}

Result<void> UserDefaults::synchronizeAll() {
    Result<void> result;
    for (const auto& [name, suite] : openSuites())
        if (auto saved = suite->synchronize(); !saved) result = std::move(saved);
    return result;
}

Value UserDefaultsController::valueForKeyPath(std::string_view keyPath) const {
    constexpr std::string_view prefix = "values.";
    return keyPath.starts_with(prefix) ? defaults_->objectForKey(keyPath.substr(prefix.size())) : Value();
}

void UserDefaultsController::setValueForKeyPath(Value value, std::string_view keyPath) {
    constexpr std::string_view prefix = "values.";
    if (keyPath.starts_with(prefix)) defaults_->setObject(std::move(value), keyPath.substr(prefix.size()));
}

}  // namespace qs
