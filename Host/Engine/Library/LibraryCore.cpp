#include "Library/LibraryCore.h"

#include <algorithm>
#include <cerrno>

#include "AccountBook.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Library/IndexLists.h"

namespace qs {

namespace {

constexpr std::size_t kMostNotices = 50;
constexpr int kReadAttempts = 4;

bool isNotFetched(const Error& error) {
    return error.domain == kMailLibraryErrorDomain && error.code == kMailLibraryNotFetched;
}

Error notFound() {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The message is not there any more.", {}};
}

}  // namespace

LibraryCore::LibraryCore(std::filesystem::path dataFolder, std::shared_ptr<AccountBook> accounts, FileSystem& files)
    : MailLibrary("MFLibrary"),
      dataFolder_(std::move(dataFolder)),
      book_(std::move(accounts)),
      files_(files),
      store_(std::make_shared<LibraryStoreObject>("MFLibraryStore")),
      imapStore_(std::make_shared<LibraryStoreObject>("MFLibraryIMAPStore")),
      cache_(std::make_shared<MessageCache>()),
      announcer_(std::make_shared<Announcer>(
          store_, [this](std::int64_t id) { return messageWithID(id); },
          [this](const std::string& account, std::uint64_t message) { return shownCopy(account, message); })) {}

LibraryCore::~LibraryCore() {
    stopReading();
    if (watch_) watch_->stop();
    announcer_->stop();
}

Result<void> LibraryCore::begin() {
    if (auto made = files_.makeFolder(dataFolder_ / "Mail"); !made) return made;
    std::vector<std::string> notices;
    index_ = std::make_unique<Index>(dataFolder_ / "Library.sqlite", files_, notices);
    for (std::string& notice : notices)
        addNotice(std::move(notice));
    refreshTree();
    const auto mailboxes = allMailboxes();
    for (const LibraryMailboxRef& mailbox : mailboxes)
        reading_->await(mailbox->indexed().number);
    try {
        putMailboxes(mailboxes);
    } catch (const DatabaseFailure& failure) {
        indexFailed(failure);
    }
    return {};
}

void LibraryCore::indexFailed(const DatabaseFailure& failure) {
    logError("the library's index: " + std::string(failure.what()));
    if (failure.isDamage() && !isRebuilding_.exchange(true)) addJob([this] { rebuild(); });
}

tl::unexpected<Error> LibraryCore::indexFailure(const DatabaseFailure& failure) {
    indexFailed(failure);
    return qs::failure(std::string(kMailLibraryErrorDomain), kMailLibraryIndex,
                       failure.isFull() ? "There is no space left on the disk for the library's index."
                                        : "The library's index can't be written just now.");
}

void LibraryCore::addNotice(std::string notice) {
    const std::lock_guard hold(notices_);
    const bool isKnown = std::find(noticeTexts_.begin(), noticeTexts_.end(), notice) != noticeTexts_.end();
    if (!isKnown && noticeTexts_.size() < kMostNotices) noticeTexts_.push_back(std::move(notice));
}

std::vector<std::string> LibraryCore::takeNotices() {
    const std::lock_guard hold(notices_);
    return std::exchange(noticeTexts_, {});
}

LibraryMessageRef LibraryCore::messageFor(std::int64_t id, std::int64_t mailbox, int flags, Date received) {
    const auto box = mailboxNumbered(mailbox);
    if (!box) return nullptr;
    auto message = cache_->liveOr(id, [&] {
        auto core = std::static_pointer_cast<LibraryCore>(shared_from_this());
        return std::make_shared<LibraryMessage>(id, box, flags, received, core, cache_);
    });
    message->setFlags(flags);
    return message;
}

MessageList LibraryCore::messagesMatchingCriterion(const MessageCriterion& criterion, unsigned, int) {
    struct Row {
        std::int64_t id, mailbox;
        int flags;
        Date received;
    };
    const SqlSelection selection = selectionFor(criterion);
    const auto rows = reading([&](Database& index) {
        std::vector<Row> found;
        Query row = index.query("SELECT m.id, m.mailbox, m.flags, m.received FROM " + selection.tables + " WHERE " +
                                    selection.condition + selection.newestFirst(),
                                selection.values);
        while (row.step())
            found.push_back({row.integer(0), row.integer(1), static_cast<int>(row.integer(2)), {row.real(3)}});
        return found;
    });
    MessageList messages;
    messages.reserve(rows.size());
    for (const Row& row : rows)
        if (auto message = messageFor(row.id, row.mailbox, row.flags, row.received))
            messages.push_back(std::move(message));
    return messages;
}

MessageList LibraryCore::messagesWithMessageIDHeader(std::string_view messageID) {
    MessageList found = messagesMatchingCriterion(
        MessageCriterion::with(MessageCriterion::Kind::MessageIDIs, std::string(messageID)), 0, kSearchIndexOnly);
    for (MessageRef& left : announcer_->leaving(messageID))
        found.push_back(std::move(left));
    return found;
}

SearchQuery LibraryCore::searchQuery(std::string_view typed) {
    SearchSurroundings around;
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        around.places.push_back({mailbox->displayName(), mailbox->identifier()});
    if (const RunLoop* const loop = RunLoop::mainIfInstalled()) around.now = loop->now();
    return parseSearch(typed, around);
}

SqlSelection LibraryCore::selectionOf(const MessageCriterion& criterion, std::string_view search) {
    if (search.empty()) return selectionFor(criterion);
    return selectionFor(MessageCriterion::allOf({criterion, searchQuery(search).criterion}));
}

ListPage LibraryCore::page(const MessageCriterion& criterion, std::string_view search, int offset, int limit,
                           const ListPlace& known) {
    const SqlSelection selection = selectionOf(criterion, search);
    return reading([&](Database& index) { return lists::page(index, selection, offset, limit, known); });
}

std::vector<std::int64_t> LibraryCore::ids(const MessageCriterion& criterion, std::string_view search, int limit) {
    const SqlSelection selection = selectionOf(criterion, search);
    return reading([&](Database& index) { return lists::ids(index, selection, limit); });
}

std::vector<MessageSummary> LibraryCore::conversation(std::int64_t id, int limit) {
    return reading([&](Database& index) { return lists::conversation(index, id, limit); });
}

MessageRef LibraryCore::messageWithID(std::int64_t id) {
    return reading([&](Database& index) { return messageIn(index, id); });
}

LibraryMessageRef LibraryCore::messageIn(Database& index, std::int64_t id) {
    Query row = index.query("SELECT mailbox, flags, received FROM messages WHERE id = ?", {id});
    return row.step() ? messageFor(id, row.integer(0), static_cast<int>(row.integer(1)), {row.real(2)}) : nullptr;
}

std::optional<MessageSummary> LibraryCore::summary(std::int64_t id) {
    return reading([&](Database& index) -> std::optional<MessageSummary> {
        Query row =
            index.query("SELECT " + tables::summaryColumns() + " FROM messages m WHERE m.id = ? AND m.copy != 2", {id});
        if (!row.step()) return {};
        return tables::summaryFrom(row);
    });
}

std::optional<MessageSummary> LibraryCore::details(std::int64_t id) {
    return reading([&](Database& index) -> std::optional<MessageSummary> {
        Query row = index.query("SELECT " + tables::summaryColumns() + " FROM messages m WHERE m.id = ?", {id});
        if (!row.step()) return {};
        return tables::summaryFrom(row);
    });
}

void LibraryCore::readDetails(const MessageList& messages) {
    std::map<std::int64_t, const LibraryMessage*> wanted;
    for (const MessageRef& each : messages)
        if (const auto* message = dynamic_cast<const LibraryMessage*>(each.get()); message && !message->hasDetails())
            wanted.emplace(message->libraryID(), message);
    if (wanted.empty()) return;
    std::string ids;  // a JSON array, as there may be more of them than a statement takes values
    for (const auto& [id, message] : wanted)
        ids += (ids.empty() ? "[" : ",") + std::to_string(id);
    reading([&](Database& index) {
        Query row = index.query("SELECT " + tables::summaryColumns() +
                                    " FROM messages m WHERE m.id IN (SELECT value FROM json_each(?))",
                                {ids + "]"});
        while (row.step())
            if (const auto found = wanted.find(row.integer(0)); found != wanted.end())
                found->second->keepDetails(tables::summaryFrom(row));
        return true;
    });
}

std::filesystem::path LibraryCore::file(std::int64_t id) {
    const auto row = reading([&](Database& index) { return tables::find(index, id); });
    const auto box = row && !row->isOnlyListed() ? mailboxNumbered(row->mailbox) : nullptr;
    if (!box) return {};
    auto path = box->maildir().pathOf(row->file);
    if (files_.exists(path)) return path;
    const auto moved = box->maildir().find(row->name);
    return moved ? box->maildir().pathOf(*moved) : std::filesystem::path();
}

template <class Reader>
auto LibraryCore::read(std::int64_t id, Reader reader) -> decltype(reader(std::filesystem::path())) {
    decltype(reader(std::filesystem::path())) content = failure(notFound());
    // Its file may be renamed at every step, by us and by other programs.
    for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
        const auto row = reading([&](Database& index) { return tables::find(index, id); });
        const auto box = row ? mailboxNumbered(row->mailbox) : nullptr;
        if (!box) return failure(notFound());
        if (row->isOnlyListed())
            return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFetched,
                           "This message has not been fetched from the server yet.");
        const auto tried = [&](const std::optional<std::string>& file) {
            if (file) content = reader(box->maildir().pathOf(*file));
            return file && (content || content.error().code != ENOENT);
        };
        if (tried(row->file) || tried(box->maildir().find(row->name))) return content;
    }
    return failure(notFound());
}

Result<std::string> LibraryCore::content(std::int64_t id) {
    auto content = read(id, [&](const std::filesystem::path& path) { return files_.read(path); });
    if (!content && isNotFetched(content.error())) sendFor(id);
    return content;
}

Result<std::shared_ptr<const OpenFile>> LibraryCore::openContent(std::int64_t id) {
    auto opened = read(id, [&](const std::filesystem::path& path) { return files_.open(path); });
    if (!opened && isNotFetched(opened.error())) sendFor(id);
    return opened;
}

Result<std::string> LibraryCore::contentStart(std::int64_t id, std::size_t limit) {
    return read(id, [&](const std::filesystem::path& path) { return files_.readStart(path, limit); });
}

LibraryCore::Counts LibraryCore::counts(const LibraryMailbox& mailbox) {
    return reading([&](Database& index) {
        Query row = index.query("SELECT total, unread FROM mailboxes WHERE number = ?", {mailbox.indexed().number});
        return row.step() ? Counts{static_cast<int>(row.integer(0)), static_cast<int>(row.integer(1))} : Counts{};
    });
}

std::vector<std::string> LibraryCore::completeAddress(std::string_view prefix, int limit) {
    return reading([&](Database& index) { return tables::completeAddress(index, prefix, limit); });
}

}  // namespace qs
