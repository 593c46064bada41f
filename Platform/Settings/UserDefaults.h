// A settings suite: keys and property-list values of one program, kept in one property-list file, with registered
// defaults under the values that were set.
//
// Safe from every thread. A set value is on disk when synchronize() returns; without it, within a second. The file may
// be edited by hand or by another process: a change from outside is taken up and announced. A damaged file is kept
// aside as <name>.damaged-<n>, the newest readable one of the two earlier generations takes its place, and
// takeDamageReport() tells it once, for the person to be told.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/NotificationCenter.h"
#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

class FileSystem;

// Posted on the default centre, main thread, after values changed; user info: "suite" (its name), "keys" (array).
// Changes that come close together are told at once. Without a run loop it is posted by the thread that makes or finds
// the change.
inline constexpr std::string_view UserDefaultsDidChangeNotification = "NSUserDefaultsDidChangeNotification";

class UserDefaults {
public:
    // The suite of that name; an empty name is the host's standard defaults. One object per suite and settings folder.
    // The file is <folder>/<suite>.plist, with "standard" for the host's. The folder is made when first needed.
    static std::shared_ptr<UserDefaults> suite(std::string_view name);
    // Where suites live (for the program: below its data folder). Set once at start, before any suite is opened;
    // setting it again (a test, another life) forgets the suites of the former folder. Nothing unsaved of them is
    // written any more: they are as after a crash.
    static void setFolder(std::filesystem::path folder, FileSystem* files = nullptr);
    // All open suites; for the end of the program. The last error, if any.
    static Result<void> synchronizeAll();

    virtual ~UserDefaults() = default;
    virtual const std::string& name() const = 0;

    // Values that count where nothing is set. Adds to those registered before. Never written to the file.
    virtual void registerDefaults(const Dictionary& defaults) = 0;

    virtual Value objectForKey(std::string_view key) const = 0;  // set, else registered, else nil
    bool boolForKey(std::string_view key) const { return objectForKey(key).boolValue(); }
    std::int64_t integerForKey(std::string_view key) const { return objectForKey(key).integerValue(); }
    float floatForKey(std::string_view key) const { return static_cast<float>(objectForKey(key).doubleValue()); }
    std::string stringForKey(std::string_view key) const { return objectForKey(key).stringValue(); }

    virtual void setObject(Value value, std::string_view key) = 0;  // nil removes
    virtual void removeObjectForKey(std::string_view key) = 0;
    // Everything that counts: set values over registered ones.
    virtual Dictionary dictionaryRepresentation() const = 0;
    // Only what was set.
    virtual Dictionary setValues() const = 0;
    // Writes what is unsaved, atomically and durably.
    virtual Result<void> synchronize() = 0;
    // A sentence for the person if the file was found damaged at opening, else empty; the second call is empty.
    virtual std::string takeDamageReport() = 0;
    // Those of all suites that are open, a plug-in's included.
    static std::vector<std::string> takeDamageReports();
};

// What dialogs bind to: key paths "values.<key>" of one suite.
class UserDefaultsController {
public:
    explicit UserDefaultsController(std::shared_ptr<UserDefaults> defaults) : defaults_(std::move(defaults)) {}
    UserDefaults& defaults() const { return *defaults_; }
    Value valueForKeyPath(std::string_view keyPath) const;           // nil unless it begins with "values."
    void setValueForKeyPath(Value value, std::string_view keyPath);  // ignored likewise

private:
    std::shared_ptr<UserDefaults> defaults_;
};

}  // namespace qs
