#include "AccountBook.h"

#include <algorithm>
#include <cerrno>

#include "Accounts/RecordForm.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

tl::unexpected<Error> damaged(const std::filesystem::path& file, const std::string& why) {
    return failure(kAccountBookErrorDomain, kAccountDamaged,
                   "The list of accounts, " + file.string() + ", can't be read: " + why + " It was left as it is.");
}

}  // namespace

Result<std::shared_ptr<AccountBook>> AccountBook::open(std::filesystem::path file, FileSystem& files) {
    std::shared_ptr<AccountBook> book(new AccountBook(std::move(file), files));
    const auto content = files.read(book->file_);
    if (!content && content.error().code == ENOENT) return book;
    if (!content) return failed(content);
    const auto list = parsePropertyList(*content);
    if (!list) return damaged(book->file_, list.error().description);
    if ((*list)["Accounts"].type() != Value::Type::Array) return damaged(book->file_, "It has no accounts in it.");
    for (const Value& value : (*list)["Accounts"].array()) {
        auto record = accountRecordFrom(value);
        if (!record) return damaged(book->file_, record.error().description);
        if (book->find(record->identifier)) return damaged(book->file_, "“" + record->identifier + "” is in it twice.");
        book->records_.push_back(std::make_shared<const AccountRecord>(std::move(*record)));
    }
    return book;
}

std::vector<AccountRecord> AccountBook::all() const {
    const std::lock_guard hold(lock_);
    std::vector<AccountRecord> all;
    for (const RecordRef& record : records_)
        all.push_back(*record);
    return all;
}

std::vector<AccountRecord> AccountBook::inUse() const {
    auto records = all();
    std::erase_if(records, [](const AccountRecord& record) { return !record.isEnabled; });
    return records;
}

const AccountRecord* AccountBook::find(std::string_view identifier) const {
    const std::lock_guard hold(lock_);
    for (const RecordRef& record : records_)
        if (record->identifier == identifier) return record.get();
    return nullptr;
}

const AccountRecord* AccountBook::withAddress(std::string_view bareAddress) const {
    const std::lock_guard hold(lock_);
    for (const RecordRef& record : records_)
        for (const MailIdentity& identity : record->identities)
            if (record->isEnabled && equalsIgnoringCase(identity.address, bareAddress)) return record.get();
    return nullptr;
}

Result<void> AccountBook::put(AccountRecord record) {
    if (auto checked = checkAccount(record); !checked) return checked;
    const std::lock_guard hold(lock_);
    auto records = records_;
    auto fresh = std::make_shared<const AccountRecord>(std::move(record));
    const auto old = std::find_if(records.begin(), records.end(),
                                  [&](const RecordRef& each) { return each->identifier == fresh->identifier; });
    if (old == records.end())
        records.push_back(fresh);
    else
        *old = fresh;
    return save(std::move(records));
}

Result<void> AccountBook::remove(std::string_view identifier) {
    const std::lock_guard hold(lock_);
    auto records = records_;
    if (std::erase_if(records, [&](const RecordRef& each) { return each->identifier == identifier; }) == 0) return {};
    return save(std::move(records));
}

Result<void> AccountBook::save(std::vector<RecordRef> records) {
    Array list;
    for (const RecordRef& each : records)
        list.push_back(valueOf(*each));
    const std::string content = xmlPropertyList(Dictionary{{"Accounts", std::move(list)}});
    if (auto made = files_->makeFolder(file_.parent_path()); !made) return made;
    if (auto saved = files_->replace(file_, content); !saved) return saved;
    // Whoever holds a replaced record goes on with it.
    replaced_.insert(replaced_.end(), records_.begin(), records_.end());
    records_ = std::move(records);
    return {};
}

}  // namespace qs
