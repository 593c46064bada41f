// What other programs change in the folders, as they do it.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Library/ParsedFile.h"

namespace qs {

void LibraryCore::watchFolders() {
    if (watch_) return;
    watch_ =
        std::make_unique<MailFolderWatch>([this](const MailFolderWatch::Changes& changes) { foldersChanged(changes); });
    watch(allMailboxes());
}

void LibraryCore::watch(const std::vector<LibraryMailboxRef>& mailboxes) {
    if (!watch_) return;
    for (const LibraryMailboxRef& mailbox : mailboxes) {
        watch_->add(mailbox->isOthers() ? mailbox->maildir().root().parent_path()
                                        : folderOfAccount(mailbox->accountIdentifier()));
        watch_->add(mailbox->maildir().pathOf("cur"));
        watch_->add(mailbox->maildir().pathOf("new"));
    }
}

void LibraryCore::foldersChanged(const MailFolderWatch::Changes& changes) {
    std::map<std::filesystem::path, LibraryMailboxRef> byRoot;
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        byRoot[mailbox->maildir().root()] = mailbox;
    std::map<LibraryMailboxRef, std::set<std::string>> files;
    bool isTreeChanged = false;
    for (const auto& [folder, names] : changes) {
        const bool isFiles = folder.filename() == "cur" || folder.filename() == "new";
        const auto mailbox = isFiles ? byRoot.find(folder.parent_path()) : byRoot.end();
        if (mailbox == byRoot.end())
            isTreeChanged = true;
        else if (reading_->isAwaited(mailbox->second->indexed().number))
            continue;  // about to be looked at as a whole
        else if (names.empty())
            scan(mailbox->second);
        else
            files[mailbox->second].insert(names.begin(), names.end());
    }
    for (const auto& [mailbox, names] : files)
        filesChanged(mailbox, names);
    if (isTreeChanged) treeChanged();
}

void LibraryCore::filesChanged(const LibraryMailboxRef& mailbox, const std::set<std::string>& names) {
    const Maildir& maildir = mailbox->maildir();
    std::map<std::string, std::set<std::string>> candidates;  // by unique part
    for (const std::string& name : names) {
        const std::string unique = MaildirName(name).unique();
        if (name.starts_with('.') || unique.empty()) continue;
        candidates[unique].insert({"new/" + name, "cur/" + name});
    }
    std::vector<NewFile> fresh;
    for (const auto& [unique, files] : candidates) {
        const auto known =
            reading([&](Database& index) { return tables::findByName(index, mailbox->indexed().number, unique); });
        const bool isKnown = known && !known->isOnlyListed();
        if (isKnown && files_.exists(maildir.pathOf(known->file))) continue;
        const auto present = std::find_if(files.begin(), files.end(),
                                          [&](const auto& file) { return files_.exists(maildir.pathOf(file)); });
        // Gone, or under a name that we were not told: a look at the whole folder tells.
        if (isKnown && present == files.end()) {
            scan(mailbox);
            return;
        }
        if (present != files.end()) fresh.push_back({unique, *present});
    }
    try {
        if (takeRenamed(*mailbox, fresh)) announcer_->mailboxChanged(mailbox->identifier());
        indexParsed(mailbox, fresh, parseAll(*mailbox, fresh));
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
    }
}

bool LibraryCore::takeRenamed(const LibraryMailbox& mailbox, std::vector<NewFile>& files) {
    if (files.empty()) return false;
    const auto keywords = MaildirKeywords::load(mailbox.maildir().root(), files_);
    auto index = index_->write();
    bool isChanged = false;
    std::erase_if(files, [&](const NewFile& file) {
        const auto row = tables::findByName(*index, mailbox.indexed().number, file.name);
        if (!row || row->isOnlyListed()) return false;
        // Meanwhile it may have been put right by whoever renamed it.
        if (row->file == file.file || !files_.exists(mailbox.maildir().pathOf(file.file))) return true;
        const int flags = packedFlags(flagsFromLetters(Maildir::nameOf(file.file).letters(), keywords));
        tables::setFile(*index, row->seq, file.file, flags);
        if (const auto message = cache_->live(row->id)) message->setFlags(flags);
        return isChanged = true;
    });
    index.commit();
    return isChanged;
}

}  // namespace qs
