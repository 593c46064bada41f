#include "Maildir/Maildir.h"

#include <cerrno>
#include <set>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr TimeInterval kTmpLife = 36 * 3600;

std::string folderFor(std::string_view letters) { return letters.empty() ? "new" : "cur"; }

}  // namespace

Result<void> Maildir::create(bool isSubfolder) const {
    for (const char* folder : {"cur", "new", "tmp"})
        if (auto made = files_->makeFolder(root_ / folder); !made) return made;
    if (!isSubfolder || files_->exists(root_ / "maildirfolder")) return {};
    const auto marked = files_->writeNew(root_ / "maildirfolder", "");
    // Somebody else makes the same mailbox at this moment.
    return !marked && marked.error().code == EEXIST ? Result<void>() : marked;
}

bool Maildir::exists() const {
    const auto cur = files_->info(root_ / "cur");
    return cur && cur->isFolder;
}

Result<std::string> Maildir::deliver(std::string_view content, std::string_view unique, std::string_view letters,
                                     Date received) const {
    const std::filesystem::path temporary = newTemporary(received);
    if (auto written = files_->writeNew(temporary, content); !written) return failed(written);
    return moveIn(temporary, unique, letters, received);
}

Result<std::string> Maildir::deliverFrom(const ByteSource& content, std::string_view unique, std::string_view letters,
                                         Date received) const {
    const std::filesystem::path temporary = newTemporary(received);
    if (auto written = files_->writeNewFrom(temporary, content); !written) return failed(written);
    return moveIn(temporary, unique, letters, received);
}

std::filesystem::path Maildir::newTemporary(Date now) const { return root_ / "tmp" / MaildirName::newUnique(now); }

Result<std::string> Maildir::moveIn(const std::filesystem::path& temporary, std::string_view unique,
                                    std::string_view letters, Date received) const {
    files_->setModified(temporary, received);
    std::string file = folderFor(letters) + "/" + MaildirName(unique).withLetters(letters).text();
    if (auto moved = files_->renameNew(temporary, root_ / file); !moved) {
        (void)files_->remove(temporary);  // the first error is the one to tell
        return failed(moved);
    }
    // Without this the message may be gone after a power cut, so it must not count as delivered.
    if (auto synced = syncFolderOf(file); !synced) {
        (void)files_->remove(root_ / file);
        return failed(synced);
    }
    return file;
}

Result<std::vector<std::string>> Maildir::deliverAll(const std::vector<Delivery>& messages) const {
    std::vector<std::filesystem::path> temporaries;
    std::vector<FileToWrite> toWrite;
    for (const Delivery& each : messages) {
        temporaries.push_back(each.temporary.empty() ? newTemporary(each.received) : each.temporary);
        if (each.temporary.empty()) toWrite.push_back({temporaries.back(), each.content});
    }
    if (auto written = files_->writeAllNew(toWrite); !written) return failed(written);
    std::vector<std::string> delivered;
    std::set<std::string> folders;
    Result<void> result;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const Delivery& each = messages[i];
        std::string file = folderFor(each.letters) + "/" + MaildirName(each.unique).withLetters(each.letters).text();
        files_->setModified(temporaries[i], each.received);
        auto moved = result ? files_->renameNew(temporaries[i], root_ / file) : result;
        if (moved) folders.insert(folderFor(each.letters));
        if (!moved) (void)files_->remove(temporaries[i]);
        if (!moved && moved.error().code == EEXIST)
            file.clear();
        else if (!moved)
            result = moved;
        delivered.push_back(std::move(file));
    }
    for (const std::string& folder : folders)
        if (auto synced = files_->syncFolder(root_ / folder); !synced && result) result = synced;
    if (!result) return failed(result);
    return delivered;
}

Result<std::string> Maildir::setLetters(const std::string& file, std::string_view letters) const {
    std::string renamed = "cur/" + nameOf(file).withLetters(letters).text();
    // In cur/ every name has its ":2,", without letters too.
    if (renamed.find(':') == std::string::npos) renamed += ":2,";
    if (renamed == file || (letters.empty() && file.starts_with("new/"))) return file;
    if (auto done = files_->renameNew(root_ / file, root_ / renamed); !done) return failed(done);
    return renamed;
}

std::optional<std::string> Maildir::find(std::string_view unique) const {
    std::optional<std::string> found;
    const auto looked = forEachFile([&](const std::string& file) {
        if (file.find(unique) != std::string::npos && nameOf(file).unique() == unique) found = file;
    });
    if (!looked) logWarning("cannot look through " + root_.string() + ": " + looked.error().description);
    return found;
}

Result<void> Maildir::forEachFile(const std::function<void(const std::string& file)>& visit) const {
    // new/ first: a file on its way to cur/ meanwhile is rather seen twice than missed.
    for (const char* folder : {"new", "cur"}) {
        const std::string prefix = std::string(folder) + "/";
        auto walked = files_->forEachName(root_ / folder, [&](const std::string& name, bool isFolder) {
            if (!isFolder && !name.starts_with('.') && !name.starts_with(':')) visit(prefix + name);
        });
        if (!walked) return walked;
    }
    return {};
}

Result<void> Maildir::syncFolderOf(std::string_view file) const {
    return files_->syncFolder(root_ / file.substr(0, file.find('/')));
}

void Maildir::sweepTmp(Date now) const {
    const auto files = files_->list(root_ / "tmp");
    if (!files) return;
    for (const FileInfo& file : *files) {
        if (file.isFolder || now - file.modified < kTmpLife) continue;
        if (const auto removed = files_->remove(file.path); !removed && removed.error().code != ENOENT)
            logWarning("cannot remove what an interrupted delivery left: " + removed.error().description);
    }
}

}  // namespace qs
