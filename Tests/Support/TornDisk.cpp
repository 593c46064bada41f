#include "Support/TornDisk.h"

#include <cerrno>
#include <random>
#include <system_error>

namespace qs {

namespace {

namespace fs = std::filesystem;

std::string normal(const fs::path& path) {
    std::string text = path.lexically_normal().string();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

// Of a normal path. Plain text work: a long test asks millions of times.
std::string_view parentOf(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    return path.substr(0, slash == 0 ? 1 : slash);
}

tl::unexpected<Error> failedWith(int code, const std::string& file) {
    return failure(Error{std::string(kFileErrorDomain),
                         code,
                         "“" + file + "”: " + std::system_category().message(code) + ".",
                         {{"path", file}}});
}

int codeOf(TornDisk::Fault fault) {
    return fault == TornDisk::Fault::NoSpace || fault == TornDisk::Fault::ShortWrite ? ENOSPC : EIO;
}

}  // namespace

TornDisk::TornDisk() : TornDisk(Plan{}) {}
TornDisk::TornDisk(Plan plan) : plan_(plan), folders_{{"/", true}, {"", true}, {".", true}} {}

void TornDisk::failAt(Plan plan) {
    const std::lock_guard hold(lock_);
    plan_ = plan;
    steps_ = 0;
}

int TornDisk::steps() const {
    const std::lock_guard hold(lock_);
    return steps_;
}

std::optional<TornDisk::Fault> TornDisk::nextStep() {
    ++steps_;
    if (isCut_) return Fault::Error;
    if (plan_.step == 0 || steps_ < plan_.step || (steps_ > plan_.step && !plan_.lasting)) return {};
    isCut_ = plan_.fault == Fault::PowerCut;
    return plan_.fault;
}

Result<void> TornDisk::checkParent(const Path& file) const {
    const Path parent(parentOf(file));
    if (folders_.contains(parent)) return {};
    return failedWith(names_.contains(parent) ? ENOTDIR : ENOENT, file);
}

Result<void> TornDisk::checkIsNoFolder(const Path& file) const {
    if (folders_.contains(file)) return failedWith(EISDIR, file);
    return {};
}

void TornDisk::apply(const Change& change, Names& names) {
    // A name that belongs to another file by now is not ours to take away.
    if (const auto old = names.find(change.from); old != names.end() && old->second == change.file) names.erase(old);
    if (!change.to.empty()) names[change.to] = change.file;
}

void TornDisk::change(Change change) {
    apply(change, names_);
    changes_.push_back(std::move(change));
}

Result<void> TornDisk::write(const Path& file, std::string_view content, std::optional<Fault> fault) {
    if (fault == Fault::Error) return failedWith(EIO, file);
    const auto found = names_.find(file);
    const bool isNew = found == names_.end();
    const FileRef target = isNew ? std::make_shared<File>() : found->second;
    if (isNew) change({.from = "", .to = file, .file = target});
    target->modified = ++clock_;
    if (!fault || fault == Fault::PowerCut) target->content += content;
    if (fault == Fault::ShortWrite) target->content += content.substr(0, content.size() / 2);
    if (fault) return failedWith(codeOf(*fault), file);
    target->durable = target->content;
    return {};
}

Result<std::string> TornDisk::read(const fs::path& file) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    if (isCut_) return failedWith(EIO, path);
    if (const auto checked = checkIsNoFolder(path); !checked) return failed(checked);
    const auto found = names_.find(path);
    if (found == names_.end()) return failedWith(ENOENT, path);
    return found->second->content;
}

Result<void> TornDisk::writeNew(const fs::path& file, std::string_view content) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    if (const auto checked = checkParent(path); !checked) return checked;
    if (folders_.contains(path) || names_.contains(path)) return failedWith(EEXIST, path);
    const auto fault = nextStep();
    const auto written = write(path, content, fault);
    // What was begun is removed, as far as there is still power to do it.
    if (const auto begun = names_.find(path); !written && fault != Fault::PowerCut && begun != names_.end())
        change({.from = path, .to = "", .file = begun->second});
    return written;
}

Result<void> TornDisk::append(const fs::path& file, std::string_view content) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    if (const auto checked = checkParent(path); !checked) return checked;
    if (const auto checked = checkIsNoFolder(path); !checked) return checked;
    return write(path, content, nextStep());
}

Result<void> TornDisk::rename(const fs::path& from, const fs::path& to) {
    return rename(normal(from), normal(to), false);
}

Result<void> TornDisk::renameNew(const fs::path& from, const fs::path& to) {
    return rename(normal(from), normal(to), true);
}

Result<void> TornDisk::rename(const Path& from, const Path& to, bool onlyNew) {
    const std::lock_guard hold(lock_);
    for (const Path& path : {from, to}) {
        if (const auto checked = checkParent(path); !checked) return checked;
        if (const auto checked = checkIsNoFolder(path); !checked) return checked;
    }
    const auto found = names_.find(from);
    if (found == names_.end()) return failedWith(ENOENT, from);
    if (onlyNew && names_.contains(to)) return failedWith(EEXIST, to);
    const auto fault = nextStep();
    if (fault && fault != Fault::PowerCut) return failedWith(codeOf(*fault), from);
    if (from != to) change({.from = from, .to = to, .file = found->second});
    if (fault) return failedWith(EIO, from);
    return {};
}

Result<void> TornDisk::remove(const fs::path& file) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    const auto found = names_.find(path);
    const bool isFolder = folders_.contains(path);
    if (found == names_.end() && !isFolder) return failedWith(ENOENT, path);
    const auto isInside = [&](const auto& entry) { return !entry.first.empty() && parentOf(entry.first) == path; };
    for (const auto& entry : names_)
        if (isFolder && isInside(entry)) return failedWith(ENOTEMPTY, path);
    for (const auto& entry : folders_)
        if (isFolder && entry.first != path && isInside(entry)) return failedWith(ENOTEMPTY, path);
    const auto fault = nextStep();
    if (fault && fault != Fault::PowerCut) return failedWith(EIO, path);
    if (isFolder)
        folders_.erase(path);
    else
        change({.from = path, .to = "", .file = found->second});
    if (fault) return failedWith(EIO, path);
    return {};
}

Result<void> TornDisk::syncFolder(const fs::path& folder) {
    const std::lock_guard hold(lock_);
    const Path path = normal(folder);
    if (!folders_.contains(path)) return failedWith(ENOENT, path);
    if (const auto fault = nextStep()) return failedWith(codeOf(*fault), path);
    std::erase_if(changes_, [&](Change& each) {
        const bool syncsFrom = each.from.empty() || each.fromIsSynced || parentOf(each.from) == path;
        const bool syncsTo = each.to.empty() || parentOf(each.to) == path;
        if (syncsFrom && syncsTo) {
            apply(each, durable_);
        } else if (syncsTo) {  // the new name stays, the old one may still come back
            durable_[each.to] = each.file;
            each.to.clear();
        } else {
            each.fromIsSynced = syncsFrom && !each.from.empty();
        }
        return syncsFrom && syncsTo;
    });
    return {};
}

Result<void> TornDisk::makeFolder(const fs::path& folder) {
    const std::lock_guard hold(lock_);
    const Path path = normal(folder);
    if (isCut_) return failedWith(EIO, path);
    if (folders_.contains(path)) return {};
    const auto fault = nextStep();
    if (fault && fault != Fault::PowerCut) return failedWith(codeOf(*fault), path);
    for (Path each = path; !folders_.contains(each); each = Path(parentOf(each))) {
        if (names_.contains(each)) return failedWith(ENOTDIR, each);
        folders_[each] = !fault;
    }
    if (fault) return failedWith(EIO, path);
    return {};
}

Result<std::vector<FileInfo>> TornDisk::list(const fs::path& folder) {
    const std::lock_guard hold(lock_);
    const Path path = normal(folder);
    if (isCut_) return failedWith(EIO, path);
    if (!folders_.contains(path)) return failedWith(ENOENT, path);
    std::map<Path, FileInfo> files;
    // What lies in a folder, or below it, stands together in the table.
    const Path start = path.empty() || path.ends_with('/') ? path : path + "/";
    for (auto each = names_.lower_bound(start); each != names_.end() && each->first.starts_with(start); ++each)
        if (parentOf(each->first) == path)
            files[each->first] = {each->first, false, each->second->content.size(), {each->second->modified}};
    for (const auto& [name, isDurable] : folders_)
        if (name != path && !name.empty() && parentOf(name) == path) files[name] = {name, true, 0, {}};
    std::vector<FileInfo> result;
    for (auto& [name, file] : files)
        result.push_back(std::move(file));
    return result;
}

Result<FileInfo> TornDisk::info(const fs::path& file) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    if (isCut_) return failedWith(EIO, path);
    if (folders_.contains(path)) return FileInfo{path, true, 0, {}};
    const auto found = names_.find(path);
    if (found == names_.end()) return failedWith(ENOENT, path);
    return FileInfo{path, false, found->second->content.size(), {found->second->modified}};
}

std::unique_ptr<TornDisk> TornDisk::afterPowerCut(std::optional<unsigned> seed) const {
    const std::lock_guard hold(lock_);
    std::mt19937 random(seed.value_or(0));
    const auto survives = [&] { return seed && random() % 2 == 0; };
    Names names = durable_;
    for (const Change& each : changes_)
        if (survives()) apply(each, names);

    auto disk = std::make_unique<TornDisk>();
    for (const auto& [path, isDurable] : folders_)
        if (isDurable || survives()) disk->folders_[path] = true;
    disk->clock_ = clock_;
    for (const auto& [path, file] : names) {
        std::string content = file->durable;
        if (file->content.size() > content.size() && seed)
            content = file->content.substr(0, content.size() + random() % (file->content.size() - content.size() + 1));
        auto kept = std::make_shared<File>(File{content, content, file->modified});
        disk->names_[path] = disk->durable_[path] = std::move(kept);
        for (Path each(parentOf(path)); !disk->folders_.contains(each); each = Path(parentOf(each)))
            disk->folders_[each] = true;
    }
    return disk;
}

std::map<std::string, std::string> TornDisk::contents() const {
    const std::lock_guard hold(lock_);
    std::map<std::string, std::string> all;
    for (const auto& [path, file] : names_)
        all[path] = file->content;
    return all;
}

void TornDisk::put(const fs::path& file, std::string content) {
    const std::lock_guard hold(lock_);
    const Path path = normal(file);
    for (Path each(parentOf(path)); !folders_.contains(each); each = Path(parentOf(each)))
        folders_[each] = true;
    // A new file under the name, so that changes under way to the former one don't touch it.
    durable_[path] = names_[path] = std::make_shared<File>(File{content, content, ++clock_});
}

}  // namespace qs
