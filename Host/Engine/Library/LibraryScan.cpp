// Bringing the index in step with what lies in a mailbox's folders.
#include <algorithm>
#include <cerrno>
#include <future>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

constexpr std::size_t kBatch = 1000;
// A folder's time has this much play: what changed right after the listing may bear the same one.
constexpr TimeInterval kSettled = 5;
constexpr std::size_t kMostTwice = 1000;

// When a message came in: our own names say it, else the last server, else the file.
Date deliveryTime(const std::string& name, const MessageFacts& facts, Date modified) {
    if (const auto time = MaildirName::timeIn(name)) return *time;
    return facts.lastHop.value_or(modified);
}

}  // namespace

struct LibraryCore::Parsed {
    NewFile file;
    int flags = 0;
    Date delivered;
    std::uint64_t size = 0;
    MessageFacts facts;
};

void LibraryCore::rescan(std::string_view mailboxIdentifier) {
    if (const auto mailbox = mailboxNamed(mailboxIdentifier)) scan(mailbox, false);
}

bool LibraryCore::isUnchanged(const LibraryMailbox& mailbox) {
    const auto cur = files_.info(mailbox.maildir().pathOf("cur")), fresh = files_.info(mailbox.maildir().pathOf("new"));
    if (!cur || !fresh) return false;
    return reading([&](Database& index) {
        Query row =
            index.query("SELECT cur_changed, new_changed FROM mailboxes WHERE number = ?", {mailbox.indexed().number});
        // Both are what the disk said, so equal they are equal to the bit.
        return row.step() && row.real(0) > 0 && !(row.real(0) < cur->modified.secondsSince1970) &&
               !(row.real(0) > cur->modified.secondsSince1970) && !(row.real(1) < fresh->modified.secondsSince1970) &&
               !(row.real(1) > fresh->modified.secondsSince1970);
    });
}

void LibraryCore::noteUnchanged(const LibraryMailbox& mailbox, Date cur, Date fresh) {
    const RunLoop* const loop = RunLoop::mainIfInstalled();
    if (!loop || loop->now() - cur < kSettled || loop->now() - fresh < kSettled) return;
    auto index = index_->write();
    index->run("UPDATE mailboxes SET cur_changed = ?, new_changed = ? WHERE number = ?",
               {cur.secondsSince1970, fresh.secondsSince1970, mailbox.indexed().number});
    index.commit();
}

void LibraryCore::scan(const LibraryMailboxRef& mailbox, bool duringOpen) {
    const std::lock_guard oneAtATime(scanning_);
    const Maildir& maildir = mailbox->maildir();
    try {
        if (!maildir.exists() && (mailbox->isOthers() || mailbox->kind() != MailboxKind::Inbox))
            return forgetMailbox(mailbox);
        const auto made = mailbox->isOthers() ? Result<void>() : maildir.create(mailbox->kind() != MailboxKind::Inbox);
        if (!made) logWarning("the folder of " + mailbox->identifier() + ": " + made.error().description);
        const auto cur = files_.info(maildir.pathOf("cur")), fresh = files_.info(maildir.pathOf("new"));
        const auto compared = compare(*mailbox);
        if (!compared) return;
        if (*compared) announcer_->mailboxChanged(mailbox->identifier());
        // While one batch is put into the index, the next is read.
        auto batch = nextNewFiles();
        auto parsed = parseAll(*mailbox, batch);
        while (!batch.empty()) {
            batch = nextNewFiles();
            std::future<std::vector<Parsed>> next;
            if (!batch.empty()) next = std::async(std::launch::async, [&] { return parseAll(*mailbox, batch); });
            indexParsed(mailbox, parsed, duringOpen);
            parsed = next.valid() ? next.get() : std::vector<Parsed>();
        }
        if (cur && fresh) noteUnchanged(*mailbox, cur->modified, fresh->modified);
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
    }
}

std::optional<bool> LibraryCore::compare(const LibraryMailbox& mailbox) {
    auto writing = index_->write();
    Database& index = *writing;
    index.runScript("CREATE TEMP TABLE IF NOT EXISTS found(name TEXT PRIMARY KEY, file TEXT NOT NULL) WITHOUT ROWID;"
                    "CREATE TEMP TABLE IF NOT EXISTS fresh(name TEXT PRIMARY KEY, file TEXT NOT NULL) WITHOUT ROWID;"
                    "DELETE FROM found; DELETE FROM fresh;");
    std::vector<std::string> twice;
    auto listed = listFolder(mailbox, index, twice);
    const SqlValues number{mailbox.indexed().number};
    const bool isMissingSome = index.integer("SELECT count(*) FROM messages WHERE mailbox = ? AND file != '' AND "
                                             "name NOT IN (SELECT name FROM found)",
                                             number) != 0;
    // A file that is renamed during a listing may be missed, so what is missing must be missing twice.
    if (listed && isMissingSome) listed = listFolder(mailbox, index, twice);
    if (!listed) {
        addNotice("The mailbox “" + mailbox.displayName() + "” can't be read: " + listed.error().description);
        logError("cannot list " + mailbox.maildir().root().string() + ": " + listed.error().description);
        return {};
    }
    settleTwice(mailbox, index, twice);
    const bool isDropped = isMissingSome && dropMissing(mailbox, index);
    const bool isRenamed = takeRenamed(mailbox, index);
    index.run("INSERT INTO fresh SELECT name, file FROM found WHERE name NOT IN "
              "(SELECT name FROM messages WHERE mailbox = ? AND file != '')",
              number);
    index.runScript("DELETE FROM found");
    writing.commit();
    return isDropped || isRenamed;
}

Result<void> LibraryCore::listFolder(const LibraryMailbox& mailbox, Database& index, std::vector<std::string>& twice) {
    return mailbox.maildir().forEachFile([&](const std::string& file) {
        const std::string name = Maildir::nameOf(file).unique();
        index.run("INSERT OR IGNORE INTO found(name, file) VALUES(?, ?)", {name, file});
        if (index.changes() != 0 || twice.size() == kMostTwice) return;
        if (index.integer("SELECT count(*) FROM found WHERE name = ? AND file = ?", {name, file}) == 0)
            twice.push_back(file);
    });
}

// Two files of one name: mostly one file, seen before and after another program renamed it. Are they really two, a copy
// counts once, and another message gets a name of its own.
void LibraryCore::settleTwice(const LibraryMailbox& mailbox, Database& index, const std::vector<std::string>& twice) {
    const Maildir& maildir = mailbox.maildir();
    for (const std::string& file : twice) {
        const MaildirName name = Maildir::nameOf(file);
        Query row = index.query("SELECT file FROM found WHERE name = ?", {name.unique()});
        if (!row.step() || !files_.exists(maildir.pathOf(file))) continue;
        const auto one = files_.read(maildir.pathOf(row.text())), other = files_.read(maildir.pathOf(file));
        if (!one) {
            index.run("UPDATE found SET file = ? WHERE name = ?", {file, name.unique()});
            continue;
        }
        if (!other || *one == *other || mailbox.isOthers()) continue;
        const std::string own =
            MaildirName::newUnique(RunLoop::mainIfInstalled() ? RunLoop::mainIfInstalled()->now() : Date{});
        const std::string renamed = "cur/" + MaildirName(own + ":2,").withLetters(name.letters()).text();
        if (const auto moved = files_.renameNew(maildir.pathOf(file), maildir.pathOf(renamed)); !moved) continue;
        logWarning("two messages of one name in " + mailbox.identifier() + "; one was renamed");
        index.run("INSERT OR IGNORE INTO found(name, file) VALUES(?, ?)", {own, renamed});
    }
}

bool LibraryCore::dropMissing(const LibraryMailbox& mailbox, Database& index) {
    std::vector<std::pair<std::int64_t, std::int64_t>> gone;
    {
        Query row = index.query("SELECT seq, id FROM messages WHERE mailbox = ? AND file != '' AND "
                                "name NOT IN (SELECT name FROM found)",
                                {mailbox.indexed().number});
        while (row.step())
            gone.emplace_back(row.integer(0), row.integer(1));
    }
    for (const auto& [seq, id] : gone) {
        keepDetails(index, id);
        tables::remove(index, seq);
    }
    return !gone.empty();
}

bool LibraryCore::takeRenamed(const LibraryMailbox& mailbox, Database& index) {
    struct Renamed {
        std::int64_t seq, id;
        std::string file;
    };
    std::vector<Renamed> renamed;
    {
        Query row = index.query("SELECT m.seq, m.id, f.file FROM messages m JOIN found f ON f.name = m.name "
                                "WHERE m.mailbox = ? AND m.file != '' AND m.file != f.file",
                                {mailbox.indexed().number});
        while (row.step())
            renamed.push_back({row.integer(0), row.integer(1), row.text(2)});
    }
    const auto keywords = MaildirKeywords::load(mailbox.maildir().root(), files_);
    for (const Renamed& each : renamed) {
        const int flags = packedFlags(flagsFromLetters(Maildir::nameOf(each.file).letters(), keywords));
        tables::setFile(index, each.seq, each.file, flags);
        if (const auto message = cache_->live(each.id)) message->setFlags(flags);
    }
    return !renamed.empty();
}

std::vector<LibraryCore::NewFile> LibraryCore::nextNewFiles() {
    std::vector<NewFile> batch;
    auto index = index_->write();
    {
        Query row = index->query("SELECT name, file FROM fresh ORDER BY name LIMIT ?", {std::int64_t{kBatch}});
        while (row.step())
            batch.push_back({row.text(0), row.text(1)});
    }
    for (const NewFile& file : batch)
        index->run("DELETE FROM fresh WHERE name = ?", {file.name});
    index.commit();
    return batch;
}

std::optional<LibraryCore::Parsed> LibraryCore::parse(const LibraryMailbox& mailbox, const NewFile& file,
                                                      const MaildirKeywords& keywords) {
    const auto path = mailbox.maildir().pathOf(file.file);
    Parsed parsed{.file = file};
    parsed.flags = packedFlags(flagsFromLetters(Maildir::nameOf(file.file).letters(), keywords));
    const auto info = files_.info(path);
    const auto content = files_.readStart(path, kIndexedBytes);
    if (info && content) {
        parsed.size = info->size;
        parsed.facts = messageFacts(*content, info->size <= kIndexedBytes);
        if (content->empty()) parsed.facts.damage = "This message is empty: its file holds nothing.";
    } else {
        const Error& error = info ? content.error() : info.error();
        if (error.code == ENOENT) return {};  // gone again, or renamed: the next look finds it
        // Listed all the same, so that the person knows that there is something.
        parsed.facts.damage = "This message can't be read. " + error.description;
        addNotice("A message in “" + mailbox.displayName() + "” can't be read. " + error.description);
    }
    parsed.delivered = deliveryTime(file.name, parsed.facts, info ? info->modified : Date{});
    return parsed;
}

std::vector<LibraryCore::Parsed> LibraryCore::parseAll(const LibraryMailbox& mailbox,
                                                       const std::vector<NewFile>& files) {
    const auto keywords = MaildirKeywords::load(mailbox.maildir().root(), files_);
    std::vector<Parsed> parsed;
    for (const NewFile& file : files)
        if (auto one = parse(mailbox, file, keywords)) parsed.push_back(std::move(*one));
    // Rows go into the index of words by date, or each would be a write of its own.
    std::stable_sort(parsed.begin(), parsed.end(),
                     [](const Parsed& one, const Parsed& other) { return one.delivered < other.delivered; });
    return parsed;
}

void LibraryCore::indexParsed(const LibraryMailboxRef& mailbox, const std::vector<Parsed>& parsed, bool duringOpen) {
    if (parsed.empty()) return;
    std::vector<std::int64_t> arrived;
    auto index = index_->write();
    for (const Parsed& each : parsed) {
        const auto inserted = tables::insert(*index, mailbox->indexed(), each.file.name, each.file.file, each.flags,
                                             each.delivered, each.size, each.facts);
        if (inserted.isNew) arrived.push_back(inserted.row.id);
    }
    index.commit();
    if (arrived.empty()) return;
    announcer_->mailboxChanged(mailbox->identifier());
    for (const std::int64_t id : arrived)
        announcer_->messageArrived(id, duringOpen);
}

void LibraryCore::watchFolders() {
    if (watch_) return;
    watch_ =
        std::make_unique<MailFolderWatch>([this](const MailFolderWatch::Changes& changes) { foldersChanged(changes); });
    watch(allMailboxes());
    // What changed between the opening and now.
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        if (!isUnchanged(*mailbox)) scan(mailbox, false);
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
        else if (names.empty())
            scan(mailbox->second, false);
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
        if (isKnown && present == files.end()) return scan(mailbox, false);
        if (present != files.end()) fresh.push_back({unique, *present});
    }
    try {
        if (takeRenamed(*mailbox, fresh)) announcer_->mailboxChanged(mailbox->identifier());
        indexParsed(mailbox, parseAll(*mailbox, fresh), false);
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
