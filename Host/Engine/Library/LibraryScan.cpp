// Bringing the index in step with what lies in a mailbox's folders.
#include <algorithm>
#include <cerrno>
#include <future>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Library/ParsedFile.h"

namespace qs {

namespace {

// The first is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 200, kBatch = 1000;
// A folder's time has this much play: what changed right after the listing may bear the same one.
constexpr TimeInterval kSettled = 5;
constexpr std::size_t kMostTwice = 1000;

// When a message came in: our own names say it, else the last server, else the file.
Date deliveryTime(const std::string& name, const MessageFacts& facts, Date modified) {
    if (const auto time = MaildirName::timeIn(name)) return *time;
    return facts.lastHop.value_or(modified);
}

}  // namespace

bool LibraryCore::readNow(std::string_view mailboxIdentifier) {
    const auto mailbox = mailboxNamed(mailboxIdentifier);
    return mailbox && scan(mailbox);
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

bool LibraryCore::isCurrent(const LibraryMailboxRef& mailbox) const {
    return mailboxNumbered(mailbox->indexed().number) == mailbox;
}

bool LibraryCore::scan(const LibraryMailboxRef& mailbox) {
    if (reading_->isStopped()) return false;
    try {
        const auto compared = look(mailbox);
        if (!compared) return reading_->isRead(mailbox->indexed().number);  // it is gone, or can't be listed
        const bool isDone = takeFresh(mailbox);
        if (isDone) finish(*compared);
        return isDone;
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
        return false;
    }
}

std::optional<LibraryCore::Compared> LibraryCore::look(const LibraryMailboxRef& mailbox) {
    const std::lock_guard nobodyRenames(scanning_);
    if (!isCurrent(mailbox)) return {};
    const Maildir& maildir = mailbox->maildir();
    if (!maildir.exists() && (mailbox->isOthers() || mailbox->kind() != MailboxKind::Inbox)) {
        forgetMailbox(mailbox);
        return {};
    }
    const auto made = mailbox->isOthers() ? Result<void>() : maildir.create(mailbox->kind() != MailboxKind::Inbox);
    if (!made) logWarning("the folder of " + mailbox->identifier() + ": " + made.error().description);
    const auto cur = files_.info(maildir.pathOf("cur")), fresh = files_.info(maildir.pathOf("new"));
    const auto isChanged = compare(*mailbox);
    if (!isChanged) return {};
    if (*isChanged) announcer_->mailboxChanged(mailbox->identifier());
    Compared compared{.mailbox = mailbox, .cur = {}, .fresh = {}};
    if (cur) compared.cur = cur->modified;
    if (fresh) compared.fresh = fresh->modified;
    return compared;
}

void LibraryCore::finish(const Compared& compared) {
    const std::int64_t number = compared.mailbox->indexed().number;
    auto index = index_->write();
    if (!fresh::isEmpty(*index, number)) return;  // somebody else is at it, and will end it
    const RunLoop* const loop = RunLoop::mainIfInstalled();
    const auto isSettled = [&](const std::optional<Date>& changed) {
        return loop && changed && loop->now() - *changed >= kSettled;
    };
    if (isSettled(compared.cur) && isSettled(compared.fresh)) {
        index->run("UPDATE mailboxes SET cur_changed = ?, new_changed = ? WHERE number = ?",
                   {compared.cur->secondsSince1970, compared.fresh->secondsSince1970, number});
        index.commit();
    }
    reading_->noteRead(number);
}

bool LibraryCore::takeFresh(const LibraryMailboxRef& mailbox) {
    // While one batch is put into the index, the next is read.
    auto batch = nextFresh(*mailbox, {}, kBatch);
    auto parsed = parseAll(*mailbox, batch);
    while (!batch.empty()) {
        if (!mayReadOn()) return false;
        auto next = nextFresh(*mailbox, batch.back().name, kBatch);
        std::future<std::vector<Parsed>> reading;
        if (!next.empty()) reading = std::async(std::launch::async, [&] { return parseAll(*mailbox, next); });
        indexParsed(mailbox, batch, parsed);
        parsed = reading.valid() ? reading.get() : std::vector<Parsed>();
        batch = std::move(next);
    }
    return true;
}

void LibraryCore::takeNewest(const LibraryMailboxRef& mailbox) {
    const auto batch = nextFresh(*mailbox, {}, kFirstBatch);
    const auto parsed = parseAll(*mailbox, batch);
    if (mayReadOn()) indexParsed(mailbox, batch, parsed);
}

std::optional<bool> LibraryCore::compare(const LibraryMailbox& mailbox) {
    auto writing = index_->write();
    Database& index = *writing;
    fresh::forgetFound(index);
    std::vector<std::string> twice;
    auto listed = listFolder(mailbox, index, twice);
    const SqlValues number{mailbox.indexed().number};
    const bool isMissingSome = index.integer("SELECT count(*) FROM messages WHERE mailbox = ? AND file != '' AND "
                                             "name NOT IN (SELECT name FROM found)",
                                             number) != 0;
    // A file that is renamed during a listing may be missed, so what is missing must be missing twice.
    if (listed && isMissingSome) listed = listFolder(mailbox, index, twice);
    if (!listed) {
        reading_->noteListed(mailbox.indexed().number, mailbox.accountIdentifier(), {});
        addNotice("The mailbox “" + mailbox.displayName() + "” can't be read: " + listed.error().description);
        logError("cannot list " + mailbox.maildir().root().string() + ": " + listed.error().description);
        return {};
    }
    settleTwice(mailbox, index, twice);
    const bool isDropped = isMissingSome && dropMissing(mailbox, index);
    const bool isRenamed = takeRenamed(mailbox, index);
    const std::int64_t box = mailbox.indexed().number;
    const std::int64_t count = fresh::takeFound(index, box, reading_->isAwaited(box));
    fresh::forgetFound(index);
    writing.commit();
    reading_->noteListed(box, mailbox.accountIdentifier(), count);
    return isDropped || isRenamed;
}

Result<void> LibraryCore::listFolder(const LibraryMailbox& mailbox, Database& index, std::vector<std::string>& twice) {
    return mailbox.maildir().forEachFile([&](const std::string& file) {
        const std::string name = Maildir::nameOf(file).unique();
        if (fresh::addFound(index, name, file) || twice.size() == kMostTwice) return;
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
        const auto one = files_.open(maildir.pathOf(row.text())), other = files_.open(maildir.pathOf(file));
        if (!one) {
            index.run("UPDATE found SET file = ? WHERE name = ?", {file, name.unique()});
            continue;
        }
        if (!other || areSame(**one, **other).value_or(true) || mailbox.isOthers()) continue;
        const std::string own =
            MaildirName::newUnique(RunLoop::mainIfInstalled() ? RunLoop::mainIfInstalled()->now() : Date{});
        const std::string renamed = "cur/" + MaildirName(own + ":2,").withLetters(name.letters()).text();
        if (const auto moved = files_.renameNew(maildir.pathOf(file), maildir.pathOf(renamed)); !moved) continue;
        logWarning("two messages of one name in " + mailbox.identifier() + "; one was renamed");
        fresh::addFound(index, own, renamed);
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

std::vector<NewFile> LibraryCore::nextFresh(const LibraryMailbox& mailbox, const std::string& last, std::size_t limit) {
    const auto index = index_->write();  // the list is on that connection alone
    return fresh::newest(*index, mailbox.indexed().number, last, limit);
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
    for (const NewFile& file : files) {
        if (reading_->isStopped()) return {};
        if (auto one = parse(mailbox, file, keywords)) parsed.push_back(std::move(*one));
    }
    // Rows go into the index of words by date, or each would be a write of its own.
    std::stable_sort(parsed.begin(), parsed.end(),
                     [](const Parsed& one, const Parsed& other) { return one.delivered < other.delivered; });
    return parsed;
}

tables::Inserted LibraryCore::insert(Database& index, const LibraryMailbox& mailbox, const Parsed& parsed) {
    return tables::insert(index, mailbox.indexed(), parsed.file.name, parsed.file.file, parsed.flags, parsed.delivered,
                          parsed.size, parsed.facts);
}

void LibraryCore::indexParsed(const LibraryMailboxRef& mailbox, const std::vector<NewFile>& files,
                              const std::vector<Parsed>& parsed) {
    if (files.empty()) return;
    const std::lock_guard nobodyRenames(scanning_);
    if (!isCurrent(mailbox)) return;
    std::map<std::string, bool> listed;  // whether it lay there
    std::vector<std::pair<std::int64_t, bool>> arrived;
    std::vector<IndexedFile> rows;
    Work work;
    auto index = index_->write();
    for (const NewFile& each : files)
        if (const auto wasThere = fresh::take(*index, mailbox->indexed().number, each.name))
            listed[each.name] = *wasThere;
    for (const Parsed& each : parsed) {
        // Removed or renamed since it was read: whoever did that has seen to its row.
        const auto info = files_.info(mailbox->maildir().pathOf(each.file.file));
        if (!info && info.error().code == ENOENT) continue;
        const auto inserted = insert(*index, *mailbox, each);
        const auto found = listed.find(each.file.name);
        if (inserted.isNew) arrived.emplace_back(inserted.row.id, found != listed.end() && found->second);
        rows.push_back(inserted.row);
    }
    numberRows(*index, mailbox->accountIdentifier(), rows, work);
    index.commit();
    reading_->noteTaken(mailbox->accountIdentifier(),
                        std::count_if(listed.begin(), listed.end(), [](const auto& each) { return each.second; }));
    announce(work);
    if (arrived.empty()) return;
    announcer_->mailboxChanged(mailbox->identifier());
    for (const auto& [id, wasThere] : arrived)
        announcer_->messageArrived(id, wasThere);
}

std::optional<IndexedFile> LibraryCore::takeUpStray(Database& index, const LibraryMailbox& mailbox, const NewFile& file,
                                                    Work& work) {
    const auto parsed = parse(mailbox, file, keywordsOf(work.keywords, mailbox));
    if (!parsed) return {};
    auto inserted = insert(index, mailbox, *parsed);
    (void)fresh::take(index, mailbox.indexed().number, file.name);
    if (const auto box = mailboxNumbered(mailbox.indexed().number)) work.changed[box->indexed().number] = box;
    if (inserted.isNew) work.takenUp.push_back(inserted.row.id);
    numberRows(index, mailbox.accountIdentifier(), {inserted.row}, work);
    return std::move(inserted.row);
}

}  // namespace qs
