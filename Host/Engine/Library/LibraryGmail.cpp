// Accounts at Gmail: a message is one, however many mailboxes show it. Labels are given by putting a copy of its file
// into the label's folder and taken by removing it; the order for the server stands before either happens.
#include <algorithm>
#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Library/GmailKeeper.h"
#include "Library/IndexCopies.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

Error notThere(const char* sentence) {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, sentence, {}};
}

}  // namespace

std::shared_ptr<GmailKeeper> LibraryCore::gmail() const {
    return std::dynamic_pointer_cast<GmailKeeper>(keeper_.load());
}

bool LibraryCore::isGmail(const std::string& account) const {
    const auto keeper = gmail();
    return keeper && keeper->isGmail(account);
}

bool LibraryCore::isGmailLabel(const LibraryMailbox& mailbox) const {
    const auto keeper = gmail();
    return keeper && keeper->isLabel(mailbox.accountIdentifier(), mailbox.folder());
}

std::uint64_t LibraryCore::gmailMessage(const IndexedFile& row) const {
    if (row.gmail != 0) return row.gmail;
    const auto box = mailboxNumbered(row.mailbox);
    const auto keeper = gmail();
    return box && keeper ? keeper->messagesNamed(box->accountIdentifier(), {row.name}).front() : 0;
}

std::vector<std::shared_ptr<Mailbox>> LibraryCore::gmailLabels(const LibraryMailbox& mailbox,
                                                               const std::string& name) const {
    const std::string& account = mailbox.accountIdentifier();
    if (!isGmail(account)) return {};
    const std::uint64_t message = gmail()->messagesNamed(account, {name}).front();
    std::vector<std::string> folders = gmail()->labels(account, message);
    // Not at the server yet: it is where it is.
    if (message == 0 && isGmailLabel(mailbox)) folders = {mailbox.folder()};
    std::vector<std::shared_ptr<Mailbox>> labels;
    for (const std::string& folder : folders)
        if (auto box = mailboxNamed(mailboxIdentifier(account, folder))) labels.push_back(std::move(box));
    return labels;
}

std::vector<std::shared_ptr<Mailbox>> LibraryCore::gmailLabels(std::int64_t id, const LibraryMailbox& mailbox) {
    if (!isGmail(mailbox.accountIdentifier())) return {};
    const auto row = reading([&](Database& index) { return tables::find(index, id); });
    if (!row) return {};
    auto labels = gmailLabels(mailbox, row->name);
    // A copy goes before it is forgotten what the server had: whoever is told of it must not see its label still.
    const std::string& account = mailbox.accountIdentifier();
    const std::uint64_t message = gmailMessage(*row);
    const auto left = announcer_->mailboxesLeft(account, message);
    if (left.empty()) return labels;
    const auto copies = reading([&](Database& index) { return gmailCopies(index, account, message); });
    std::erase_if(labels, [&](const auto& label) {
        const auto isThere = [&](const IndexedFile& copy) {
            return copy.mailbox == mailboxNumber(label->identifier());
        };
        return left.contains(label->identifier()) && std::none_of(copies.begin(), copies.end(), isThere);
    });
    return labels;
}

std::vector<IndexedFile> LibraryCore::gmailCopies(Database& index, const std::string& account,
                                                  std::uint64_t message) const {
    return message == 0 ? std::vector<IndexedFile>() : copies::rowsOf(index, accountNumber(account), message);
}

std::int64_t LibraryCore::shownCopy(const std::string& account, std::uint64_t message) {
    return reading([&](Database& index) {
        const auto rows = gmailCopies(index, account, message);
        return rows.empty() ? std::int64_t{0} : rows.front().id;
    });
}

// Must come before its row goes.
void LibraryCore::noteLeaving(Database& index, const IndexedFile& row, Work& work) {
    const auto box = mailboxNumbered(row.mailbox);
    const std::uint64_t message = gmailMessage(row);
    if (!box || message == 0) return;
    auto left = messageFor(row.id, row.mailbox, row.flags, row.delivered);
    keepDetails(index, row.id);
    auto labels = gmailLabels(*box, row.name);
    const bool hasOwn = std::any_of(labels.begin(), labels.end(),
                                    [&](const auto& label) { return label->identifier() == box->identifier(); });
    if (!hasOwn && isGmailLabel(*box)) labels.push_back(box);  // an order may have taken it by now
    left->keepLabels(std::move(labels));
    work.relabelled[{box->accountIdentifier(), message}].push_back(std::move(left));
}

bool LibraryCore::noteCopy(const LibraryMailbox& mailbox, const std::string& name, bool isNews, Work& work) {
    const std::string& account = mailbox.accountIdentifier();
    if (!isGmail(account)) return false;
    const std::uint64_t message = gmail()->messagesNamed(account, {name}).front();
    if (message == 0 || !gmail()->isKept(account, message)) return false;
    if (isNews) work.relabelled[{account, message}];
    return true;
}

std::vector<IndexedFile> LibraryCore::withGmailCopies(Database& index, std::vector<IndexedFile> rows) const {
    std::vector<IndexedFile> all;
    std::set<std::int64_t> known;
    const auto put = [&](const IndexedFile& row) {
        if (known.insert(row.id).second) all.push_back(row);
    };
    for (const IndexedFile& row : rows) {
        put(row);
        const auto box = mailboxNumbered(row.mailbox);
        if (!box || !isGmail(box->accountIdentifier())) continue;
        for (const IndexedFile& copy : gmailCopies(index, box->accountIdentifier(), gmailMessage(row)))
            put(copy);
    }
    return all;
}

Result<void> LibraryCore::changeLabels(const std::vector<std::int64_t>& ids,
                                       const std::vector<LibraryMailboxRef>& added,
                                       const std::vector<LibraryMailboxRef>& taken) {
    return changeFiles([&](Database& index, Work& work) -> Result<void> {
        Result<void> result;
        std::map<std::string, std::set<std::uint64_t>> messages;  // by account
        for (const std::int64_t id : ids) {
            const auto row = tables::find(index, id);
            const std::uint64_t message = row ? gmailMessage(*row) : 0;
            if (message != 0)
                messages[mailboxNumbered(row->mailbox)->accountIdentifier()].insert(message);
            else
                result = failure(notThere(row ? "The server has not taken up this message yet."
                                              : "The message is not there any more."));
        }
        for (const auto& [account, numbers] : messages) {
            std::vector<GmailKeeper::Order> orders;
            for (const std::uint64_t message : numbers) {
                for (const LibraryMailboxRef& box : added)
                    orders.push_back({message, box->folder(), true});
                for (const LibraryMailboxRef& box : taken)
                    orders.push_back({message, box->folder(), false});
            }
            if (auto told = gmail()->willLabel(account, orders); !told) return told;
            // It stands now, whatever becomes of the files: they are brought into step with the server's.
            for (const std::uint64_t message : numbers)
                if (auto done = labelOne(index, account, message, added, taken, work); !done) result = done;
        }
        return result;
    });
}

Result<void> LibraryCore::labelOne(Database& index, const std::string& account, std::uint64_t message,
                                   const std::vector<LibraryMailboxRef>& added,
                                   const std::vector<LibraryMailboxRef>& taken, Work& work) {
    work.relabelled[{account, message}];
    auto rows = gmailCopies(index, account, message);
    const auto hasFile = [](const IndexedFile& row) { return !row.isOnlyListed(); };
    for (const LibraryMailboxRef& box : added) {
        const auto isThere = [&](const IndexedFile& row) { return row.mailbox == box->indexed().number; };
        const auto source = std::find_if(rows.begin(), rows.end(), hasFile);
        // Of one whose text is not here yet, the server's copy will be listed.
        if (source == rows.end() || std::any_of(rows.begin(), rows.end(), isThere)) continue;
        auto copied = copyForLabel(index, *source, *box, message, work);
        if (!copied) return failed(copied);
        rows.push_back(std::move(*copied));
    }
    for (const LibraryMailboxRef& box : taken) {
        const auto found = std::find_if(rows.begin(), rows.end(),
                                        [&](const IndexedFile& row) { return row.mailbox == box->indexed().number; });
        if (found == rows.end()) continue;
        const IndexedFile row = *found;
        rows.erase(found);
        noteLeaving(index, row, work);
        const auto all = std::any_of(rows.begin(), rows.end(), hasFile) ? nullptr : allMailOf(account);
        auto done =
            all && hasFile(row) ? keepAmongAllMail(index, row, *all, message, work) : eraseOne(index, row, work);
        if (!done) return done;
    }
    return {};
}

Result<void> LibraryCore::takeLabels(std::vector<IndexedFile>& rows) {
    std::map<std::string, std::vector<GmailKeeper::Order>> orders;  // by account
    std::map<std::int64_t, LibraryMailboxRef> labels;               // by mailbox; null: it is none
    std::erase_if(rows, [&](const IndexedFile& row) {
        auto label = labels.find(row.mailbox);
        if (label == labels.end()) {
            auto box = mailboxNumbered(row.mailbox);
            if (box && !isGmailLabel(*box)) box = nullptr;
            label = labels.emplace(row.mailbox, std::move(box)).first;
        }
        const std::uint64_t message = label->second ? gmailMessage(row) : 0;
        if (message == 0) return false;
        orders[label->second->accountIdentifier()].push_back({message, label->second->folder(), false});
        return true;
    });
    for (const auto& [account, list] : orders)
        if (auto told = gmail()->willLabel(account, list); !told) return told;
    return {};
}

LibraryMailboxRef LibraryCore::allMailOf(const std::string& account) const {
    for (const LibraryMailboxRef& box : allMailboxes())
        if (box->accountIdentifier() == account && gmail()->isAllMail(account, box->folder())) return box;
    return nullptr;
}

Result<IndexedFile> LibraryCore::copyForLabel(Database& index, const IndexedFile& source, const LibraryMailbox& to,
                                              std::uint64_t message, Work& work) {
    const auto from = mailboxNumbered(source.mailbox);
    if (!from) return failure(notThere("The message is not there any more."));
    auto content = files_.open(from->maildir().pathOf(source.file));
    if (!content && content.error().code == ENOENT)
        if (const auto again = from->maildir().find(source.name)) content = files_.open(from->maildir().pathOf(*again));
    if (!content) return failed(content);
    const auto start = startOf(sourceOf(*content), kIndexedBytes);
    if (!start) return failed(start);
    const auto letters = lettersForOtherFolder(Maildir::nameOf(source.file).letters(), keywordsOf(work.keywords, *from),
                                               keywordsOf(work.keywords, to));
    if (!letters) return failed(letters);
    const std::string name = gmailCopyName(message, to.folder());
    auto file = to.maildir().deliverFrom(sourceOf(*content), name, *letters, source.delivered);
    if (!file && file.error().code == EEXIST)
        if (const auto existing = to.maildir().find(name)) file = *existing;
    if (!file) return failed(file);
    const std::uint64_t size = (*content)->size();
    const MessageFacts facts = messageFacts(*start, size <= kIndexedBytes);
    const auto inserted = tables::insert(index, to.indexed(), name, *file, source.flags, source.delivered, size, facts);
    work.changed[to.indexed().number] = mailboxNumbered(to.indexed().number);
    numberRows(index, to.accountIdentifier(), {inserted.row}, work);
    if (const auto live = cache_->live(inserted.row.id)) live->hasComeBack();
    return inserted.row;
}

// The last copy that is here: all mail has it at the server, but its text has not come from there yet.
Result<void> LibraryCore::keepAmongAllMail(Database& index, const IndexedFile& row, const LibraryMailbox& all,
                                           std::uint64_t message, Work& work) {
    auto kept = copyForLabel(index, row, all, message, work);
    if (!kept) return failed(kept);
    return eraseOne(index, row, work);
}

Result<std::vector<std::int64_t>> LibraryCore::moveByLabels(const std::vector<std::int64_t>& ids,
                                                            const LibraryMailboxRef& to) {
    const std::string account = to->accountIdentifier();
    if (!isGmail(account)) return ids;
    const bool isLabel = isGmailLabel(*to), isAll = gmail()->isAllMail(account, to->folder());
    std::vector<std::int64_t> others;
    std::set<std::uint64_t> moved;
    std::map<LibraryMailboxRef, std::vector<std::int64_t>> bySource;
    for (const std::int64_t id : ids) {
        const auto row = reading([&](Database& index) { return tables::find(index, id); });
        const auto from = row ? mailboxNumbered(row->mailbox) : nullptr;
        const std::uint64_t message =
            from && from != to && from->accountIdentifier() == account ? gmailMessage(*row) : 0;
        const bool isLabelled = message != 0 && (isGmailLabel(*from) || gmail()->isAllMail(account, from->folder()));
        if (isLabelled && (isLabel || isAll)) bySource[from].push_back(id);
        // Into the trash it goes as one, whatever mailboxes show it.
        else if (message == 0 || moved.insert(message).second)
            others.push_back(id);
    }
    for (const auto& [from, list] : bySource) {
        const auto taken = isGmailLabel(*from) ? std::vector{from} : std::vector<LibraryMailboxRef>();
        const auto added = isLabel ? std::vector{to} : std::vector<LibraryMailboxRef>();
        if (auto done = changeLabels(list, added, taken); !done) return failed(done);
    }
    return others;
}

}  // namespace qs
