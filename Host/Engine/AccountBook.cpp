#include "AccountBook.h"

#include <algorithm>
#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"

namespace qs {

namespace {

constexpr std::string_view kErrorDomain = "AccountBook";
enum AccountBookError { kDamaged = 1, kInvalidIdentifier = 2, kInvalidAddress = 3, kInvalidServer = 4 };

constexpr std::size_t kLongestIdentifier = 64;

const char* nameOf(TransportSecurity security) {
    switch (security) {
    case TransportSecurity::None: return "none";
    case TransportSecurity::StartTls: return "starttls";
    case TransportSecurity::Tls: return "tls";
    }
    return "starttls";
}

// What is not known is taken for the safe form.
TransportSecurity securityNamed(const std::string& name) {
    if (name == "none") return TransportSecurity::None;
    return name == "tls" ? TransportSecurity::Tls : TransportSecurity::StartTls;
}

Array listOf(const std::vector<std::string>& texts) { return {texts.begin(), texts.end()}; }

std::vector<std::string> textsIn(const Value& list) {
    std::vector<std::string> texts;
    for (const Value& each : list.array())
        texts.push_back(each.stringValue());
    return texts;
}

Value valueOf(const AccountRecord& record) {
    Dictionary value{{"Identifier", record.identifier},
                     {"DisplayName", record.displayName},
                     {"FullName", record.fullName},
                     {"Addresses", listOf(record.addresses)}};
    if (record.hasServer) {
        const SubmissionServer& server = record.server;
        value["Server"] = Dictionary{{"Host", server.host},
                                     {"Port", server.port},
                                     {"Security", nameOf(server.security)},
                                     {"User", server.user},
                                     {"PasswordCommand", listOf(server.passwordCommand)},
                                     {"CertificateAuthorities", server.certificateAuthorities}};
    }
    return value;
}

AccountRecord recordFrom(const Value& value) {
    AccountRecord record{.identifier = value["Identifier"].stringValue(),
                         .displayName = value["DisplayName"].stringValue(),
                         .fullName = value["FullName"].stringValue(),
                         .addresses = textsIn(value["Addresses"]),
                         .hasServer = !value["Server"].isNil(),
                         .server = {}};
    if (!record.hasServer) return record;
    const Value& server = value["Server"];
    record.server.host = server["Host"].stringValue();
    if (const auto port = server["Port"].integerValue(); port > 0 && port < 65536)
        record.server.port = static_cast<int>(port);
    record.server.security = securityNamed(server["Security"].stringValue());
    record.server.user = server["User"].stringValue();
    record.server.passwordCommand = textsIn(server["PasswordCommand"]);
    record.server.certificateAuthorities = server["CertificateAuthorities"].stringValue();
    return record;
}

Result<void> check(const AccountRecord& record) {
    const std::string& identifier = record.identifier;
    const bool isName = !identifier.empty() && identifier.size() <= kLongestIdentifier && identifier.front() != '-' &&
                        std::all_of(identifier.begin(), identifier.end(),
                                    [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-'; });
    if (!isName)
        return failure(std::string(kErrorDomain), kInvalidIdentifier,
                       "An account's identifier consists of letters, digits and “-”.");
    if (record.addresses.empty())
        return failure(std::string(kErrorDomain), kInvalidAddress, "An account needs at least one address.");
    for (const std::string& address : record.addresses)
        if (!isDeliverableAddress(address))
            return failure(std::string(kErrorDomain), kInvalidAddress, "“" + address + "” is no mail address.");
    if (record.hasServer && (record.server.host.empty() || record.server.port < 1 || record.server.port > 65535))
        return failure(std::string(kErrorDomain), kInvalidServer, "The mail server needs a host name and a port.");
    return {};
}

tl::unexpected<Error> damaged(const std::filesystem::path& file, const std::string& why) {
    return failure(std::string(kErrorDomain), kDamaged,
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
        auto record = std::make_shared<const AccountRecord>(recordFrom(value));
        if (const auto checked = check(*record); !checked) return damaged(book->file_, checked.error().description);
        if (book->find(record->identifier)) return damaged(book->file_, "“" + record->identifier + "” is in it twice.");
        book->records_.push_back(std::move(record));
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

const AccountRecord* AccountBook::find(std::string_view identifier) const {
    const std::lock_guard hold(lock_);
    for (const RecordRef& record : records_)
        if (record->identifier == identifier) return record.get();
    return nullptr;
}

const AccountRecord* AccountBook::withAddress(std::string_view bareAddress) const {
    const std::lock_guard hold(lock_);
    for (const RecordRef& record : records_)
        for (const std::string& address : record->addresses)
            if (equalsIgnoringCase(address, bareAddress)) return record.get();
    return nullptr;
}

Result<void> AccountBook::put(AccountRecord record) {
    if (auto checked = check(record); !checked) return checked;
    const std::lock_guard hold(lock_);
    auto records = records_;
    auto fresh = std::make_shared<const AccountRecord>(std::move(record));
    const auto old = std::find_if(records.begin(), records.end(),
                                  [&](const RecordRef& each) { return each->identifier == fresh->identifier; });
    if (old == records.end())
        records.push_back(fresh);
    else
        *old = fresh;
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
