#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <tuple>

#include "Files/FolderWatch.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Reminders/CalendarFile.h"
#include "Reminders/ReminderStore.h"
#include "Text/Ascii.h"
#include "Text/CaseFolding.h"
#include "Text/Color.h"
#include "Text/Utf8.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestFile = 4 << 20;
constexpr std::size_t kLongestTitle = 1000;
constexpr std::size_t kMostFiles = 20'000;  // of one list
constexpr TimeInterval kQuiet = 0.25;       // so that several changes are told once

struct KnownFile {
    Date modified;
    std::uintmax_t size = 0;
    std::vector<ToDo> toDos;

    bool isStill(const FileInfo& info) const { return size == info.size && modified == info.modified; }
};

struct KnownList {
    ToDoList list;
    std::string sortKey;
    std::map<fs::path, KnownFile> files;
};

bool isHidden(const fs::path& path) { return path.filename().string().starts_with('.'); }

bool isCalendarFile(const FileInfo& info) {
    return !info.isFolder && !isHidden(info.path) && equalsIgnoringCase(info.path.extension().string(), ".ics");
}

// By its mode, too: the superuser may write everywhere. Where nobody can tell, writing itself will.
bool isWritable(const fs::path& folder) {
    std::error_code failed;
    const auto mode = fs::status(folder, failed).permissions();
    if (failed) return true;
    return (mode & fs::perms::owner_write) != fs::perms::none && ::access(folder.c_str(), W_OK) == 0;
}

bool isSafeName(std::string_view name) {
    return !name.empty() && name.size() <= 100 &&
           std::ranges::all_of(name, [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-'; });
}

tl::unexpected<Error> notThere(const char* what) {
    return failure(std::string(kReminderStoreErrorDomain), kReminderStoreNotFound, what);
}

class ReminderFolder final : public ReminderStore, public std::enable_shared_from_this<ReminderFolder> {
public:
    ReminderFolder(fs::path folder, FileSystem& files, bool isFollowed)
        : folder_(std::move(folder)), files_(files), isToFollow_(isFollowed) {}
    ~ReminderFolder() override { watch_.reset(); }  // before what its handler touches

    Result<void> requestAccess() override {
        if (auto made = files_.makeFolder(folder_); !made) return made;
        if (auto listed = files_.list(folder_); !listed) return failed(listed);
        if (!isWritable(folder_)) return readOnly();
        return {};
    }

    std::vector<ToDoSource> sources() override {
        std::vector<ToDoSource> found;
        const auto all = lists();
        if (!all) return found;
        for (const ToDoList& list : *all)
            if (found.empty() || found.back().identifier != list.source.identifier) found.push_back(list.source);
        if (found.empty() && requestAccess()) found.emplace_back();
        return found;
    }

    Result<std::vector<ToDoList>> lists() override {
        const std::lock_guard hold(lock_);
        refresh();
        if (unseen_)
            return failure(std::string(kReminderStoreErrorDomain), kReminderStoreUnreadable, unseen_->description);
        std::vector<ToDoList> found;
        for (const KnownList& known : lists_)
            found.push_back(known.list);
        return found;
    }

    std::optional<ToDoList> listWithIdentifier(std::string_view identifier) override {
        const std::lock_guard hold(lock_);
        refresh();
        const KnownList* known = knownList(identifier);
        return known ? std::optional(known->list) : std::nullopt;
    }

    Result<ToDoList> addList(std::string_view title, const Color& color, const ToDoSource& source) override {
        const std::lock_guard hold(lock_);
        const fs::path parent = source.identifier.empty() ? folder_ : folder_ / source.identifier;
        fs::path place = parent / (isSafeName(title) ? std::string(title) : newUUIDString());
        if (files_.exists(place)) place = parent / newUUIDString();
        if (auto made = files_.makeFolder(place); !made) return failed(made);
        if (auto written = files_.replace(place / "displayname", validUtf8(title)); !written) return failed(written);
        if (auto written = files_.replace(place / "color", color.hexString()); !written) return failed(written);
        isStale_ = true;
        refresh();
        const KnownList* known = knownList(place.lexically_relative(folder_).string());
        if (!known) return notThere("The list could not be made.");
        return known->list;
    }

    std::optional<ToDo> toDoWithIdentifier(std::string_view identifier) override {
        const std::lock_guard hold(lock_);
        refresh();
        const Place place = placeOf(identifier);
        return place.toDo ? std::optional(*place.toDo) : std::nullopt;
    }

    void fetchToDos(const std::string& listIdentifier, std::function<void(std::vector<ToDo>)> completion) override {
        RunLoop::main().postToGlobalQueue([self = shared_from_this(), listIdentifier, completion] {
            RunLoop::main().post([found = self->toDosOf(listIdentifier), completion] { completion(found); });
        });
    }

    Result<ToDo> save(const ToDo& toDo) override {
        const std::lock_guard hold(lock_);
        refresh();
        const Place place = placeOf(toDo.identifier);
        const fs::path file = place.file;
        if (auto saved = place.toDo ? change(place, toDo) : create(toDo); !saved) return failed(saved);
        readAnew(file);
        refresh();
        const Place now = placeOf(toDo.identifier);
        if (!now.toDo) return notThere("The to-do could not be written.");
        return *now.toDo;
    }

    Result<void> remove(std::string_view identifier) override {
        const std::lock_guard hold(lock_);
        refresh();
        const Place place = placeOf(identifier);
        if (!place.toDo) return notThere("The to-do is not there any more.");
        if (!place.list->list.allowsContentModifications) return readOnly();
        const fs::path file = place.file;  // before the place goes with what is read anew
        auto bytes = files_.read(file);
        if (!bytes) return failed(bytes);
        auto left = calendarWithout(*bytes, identifier);
        if (!left) return failed(left);
        readAnew(file);
        if (!left->empty()) return files_.replace(file, *left);
        if (auto removed = files_.remove(file); !removed) return removed;
        return files_.syncFolder(file.parent_path());
    }

    void reload() override { isStale_ = true; }

private:
    struct Place {
        const KnownList* list = nullptr;
        fs::path file;
        const ToDo* toDo = nullptr;  // until the next refresh()
    };

    static tl::unexpected<Error> readOnly() {
        return failure(std::string(kReminderStoreErrorDomain), kReminderStoreReadOnly, "The list can only be read.");
    }

    static tl::unexpected<Error> refused(const char* why) {
        return failure(std::string(kReminderStoreErrorDomain), kReminderStoreRefused, why);
    }

    std::vector<ToDo> toDosOf(std::string_view listIdentifier) {
        const std::lock_guard hold(lock_);
        refresh();
        std::vector<ToDo> found;
        if (const KnownList* known = knownList(listIdentifier))
            for (const auto& [path, file] : known->files)
                found.insert(found.end(), file.toDos.begin(), file.toDos.end());
        return found;
    }

    // All below under the lock.
    const KnownList* knownList(std::string_view identifier) const {
        const auto found =
            std::ranges::find(lists_, identifier, [](const KnownList& known) { return known.list.identifier; });
        return found == lists_.end() ? nullptr : &*found;
    }

    Place placeOf(std::string_view identifier) const {
        for (const KnownList& known : lists_)
            for (const auto& [path, file] : known.files)
                for (const ToDo& toDo : file.toDos)
                    if (toDo.identifier == identifier) return {&known, path, &toDo};
        return {};
    }

    Result<void> create(const ToDo& toDo) {
        const KnownList* known = knownList(toDo.listIdentifier);
        if (!known) return notThere("The list is not there any more.");
        if (!known->list.allowsContentModifications) return readOnly();
        const fs::path folder = folder_ / toDo.listIdentifier;
        fs::path file = folder / ((isSafeName(toDo.identifier) ? toDo.identifier : newUUIDString()) + ".ics");
        // A file of that name which holds something else, or can't be understood, stays.
        if (files_.exists(file)) file = folder / (newUUIDString() + ".ics");
        const std::string bytes = newCalendar(toDo, RunLoop::main().now());
        const auto readBack = readCalendar(bytes).toDos;
        if (known->files.size() >= kMostFiles) return refused("The list is full.");
        if (readBack.size() != 1 || readBack.front().identifier != toDo.identifier)
            return refused("The to-do's identifier can't be written into a calendar file.");
        return files_.replace(file, bytes);
    }

    // What the file says now counts, not what was read from it before.
    Result<void> change(const Place& place, const ToDo& wanted) {
        if (!place.list->list.allowsContentModifications) return readOnly();
        auto bytes = files_.read(place.file);
        if (!bytes) return failed(bytes);
        auto changed = changedCalendar(*bytes, wanted, RunLoop::main().now());
        if (!changed) return failed(changed);
        if (*changed == *bytes) return {};
        return files_.replace(place.file, *changed);
    }

    // Its size and time may be what they were.
    void readAnew(const fs::path& file) {
        for (KnownList& known : lists_)
            known.files.erase(file);
        isStale_ = true;
    }

    void follow() {
        isToFollow_ = false;
        if (const auto made = files_.makeFolder(folder_); !made)
            logWarning("there is no folder for reminders: " + made.error().description);
        watch_ = FolderWatch::make(
            folder_, [this](std::string_view) { wasChanged(); }, FolderWatch::Tells::FoldersToo);
        if (!watch_) logWarning("reminders that other programs change are seen at the next start");
    }

    // On the watching thread.
    void wasChanged() {
        isStale_ = true;
        if (isTold_.exchange(true)) return;
        RunLoop::main().after(kQuiet, [weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self) return;
            self->isTold_ = false;
            NotificationCenter::defaultCenter().post(ReminderStoreChangedNotification);
        });
    }

    void refresh() {
        if (isToFollow_) follow();
        if (!isStale_.exchange(false)) return;
        const bool wasUnseen = unseen_.has_value();
        unseen_.reset();
        std::vector<KnownList> present;
        addListsIn(folder_, {}, present);
        if (unseen_) {
            isStale_ = true;  // the next question tries again
            if (!wasUnseen) logWarning("reminders can't be read: " + unseen_->description);
        }
        std::ranges::stable_sort(present, {}, [](const KnownList& known) {
            return std::tuple(!known.list.source.identifier.empty(), known.list.source.title, known.sortKey);
        });
        lists_ = std::move(present);
    }

    // Nothing when it can't be told what there is. A folder that is gone or closed to us holds nothing.
    std::optional<std::vector<FileInfo>> listed(const fs::path& folder) {
        if (watch_) watch_->alsoWatch(folder);
        auto found = files_.list(folder);
        if (found) return std::move(*found);
        const int code = found.error().code;
        if (code != ENOENT && code != ENOTDIR && code != EACCES) {
            unseen_ = found.error();
            return std::nullopt;
        }
        if (code == EACCES) logWarning("reminders can't be read: " + found.error().description);
        return std::vector<FileInfo>();
    }

    // The lists in that folder, or it itself, as they were when they were seen last.
    void keepKnown(const fs::path& folder, std::vector<KnownList>& present) const {
        const std::string place = folder.lexically_relative(folder_).string();
        for (const KnownList& known : lists_)
            if (place == "." || known.list.identifier == place || known.list.identifier.starts_with(place + "/"))
                present.push_back(known);
    }

    void addListsIn(const fs::path& folder, const ToDoSource& source, std::vector<KnownList>& present) {
        const auto folders = listed(folder);
        if (!folders) return keepKnown(folder, present);
        for (const FileInfo& info : *folders) {
            if (!info.isFolder || isHidden(info.path)) continue;
            const auto content = listed(info.path);
            if (!content) {
                keepKnown(info.path, present);
                continue;
            }
            const auto is = [&](auto test) { return std::ranges::any_of(*content, test); };
            const bool isList = is(isCalendarFile) || is([](const FileInfo& each) {
                                    const auto name = each.path.filename();
                                    return !each.isFolder && (name == "displayname" || name == "color");
                                });
            const bool holdsLists = is([](const FileInfo& each) { return each.isFolder && !isHidden(each.path); });
            if (!isList && holdsLists && source.identifier.empty()) {
                const std::string name = info.path.filename().string();
                addListsIn(info.path, {name, validUtf8(name), ToDoSource::Kind::CalDav}, present);
            } else {
                present.push_back(listIn(info.path, source, *content));
            }
        }
    }

    KnownList listIn(const fs::path& folder, const ToDoSource& source, const std::vector<FileInfo>& content) {
        const std::string identifier = folder.lexically_relative(folder_).string();
        const KnownList* before = knownList(identifier);
        KnownList made{.list = {.identifier = identifier, .title = {}, .source = source}, .sortKey = {}, .files = {}};
        if (const auto title = files_.readStart(folder / "displayname", kLongestTitle))
            made.list.title = validUtf8(trimmedAscii(*title));
        if (made.list.title.empty()) made.list.title = validUtf8(folder.filename().string());
        made.list.allowsContentModifications = isWritable(folder);
        made.sortKey = foldedCase(made.list.title);
        for (const FileInfo& info : content) {
            if (!isCalendarFile(info) || made.files.size() == kMostFiles) continue;
            made.files.emplace(info.path, takeFile(info, before, made.list));
        }
        return made;
    }

    KnownFile takeFile(const FileInfo& info, const KnownList* before, const ToDoList& list) {
        if (before)
            if (const auto known = before->files.find(info.path);
                known != before->files.end() && known->second.isStill(info))
                return known->second;
        KnownFile file{.modified = info.modified, .size = info.size, .toDos = {}};
        const std::string name = info.path.filename().string();
        if (info.size > kLargestFile) {
            logWarning(
                stringWithFormat("“%@” in the reminders “%@” is too large; it is left as it is", {name, list.title}));
            return file;
        }
        const auto bytes = files_.read(info.path);
        if (!bytes) {
            logWarning("a reminder can't be read: " + bytes.error().description);
            file.size = static_cast<std::uintmax_t>(-1);  // tried again
            return file;
        }
        auto content = readCalendar(*bytes);
        if (content.isBroken)
            logWarning(
                stringWithFormat("“%@” in the reminders “%@” can't be understood in all parts; those are left as "
                                 "they are",
                                 {name, list.title}));
        for (ToDo& toDo : content.toDos)
            toDo.listIdentifier = list.identifier;
        file.toDos = std::move(content.toDos);
        return file;
    }

    const fs::path folder_;
    FileSystem& files_;
    std::mutex lock_;
    bool isToFollow_;
    std::atomic<bool> isStale_ = true, isTold_ = false;
    std::vector<KnownList> lists_;
    std::optional<Error> unseen_;  // why not all lists could be seen at the last look
    std::unique_ptr<FolderWatch> watch_;
};

}  // namespace

std::shared_ptr<ReminderStore> ReminderStore::inFolder(std::filesystem::path folder, FileSystem& files,
                                                       bool isFollowed) {
    return std::make_shared<ReminderFolder>(std::move(folder), files, isFollowed);
}

}  // namespace qs
