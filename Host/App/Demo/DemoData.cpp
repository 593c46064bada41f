#include "Demo/DemoData.h"

#include "AccountBook.h"
#include "Demo/DemoTemplate.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "MailEngine.h"
#include "MailLibrary.h"

namespace qs {
namespace {

AccountRecord account(std::string identifier, std::string fullName, std::string address) {
    AccountRecord record;
    record.identifier = std::move(identifier);
    record.displayName = address;
    record.identities = {{std::move(fullName), std::move(address)}};
    return record;
}

Result<void> addMail(MailLibrary& library, const DemoMail& mail, const std::string& name) {
    for (const DemoPlace& place : mail.places) {
        const auto mailbox = library.mailbox(place.account, place.mailbox, true);
        if (!mailbox) return failure("DemoData", 1, stringWithFormat("The demo has no account '%@'.", {place.account}));
        if (auto added = library.add(*mailbox, mail.content, place.flags, mail.date, "demo-" + name); !added)
            return failed(added);
    }
    return {};
}

}  // namespace

std::filesystem::path DemoData::marker() const { return dataFolder_ / "DemoMails.pending"; }

Result<void> DemoData::makeAccounts() const {
    FileSystem& files = FileSystem::real();
    auto book = AccountBook::open(dataFolder_ / "Accounts.plist", files);
    if (!book) return failed(book);
    // Cut off between two accounts, the marker tells that the second is still to be made.
    if (!(*book)->all().empty() && !files.exists(marker())) return {};
    if (auto marked = files.replace(marker(), "The demo's mails are being put in.\n"); !marked) return marked;
    for (auto& record : {account("mira", "Mira Halloran", "mira@quillstead.example"),
                         account("tobias", "Tobias Lenk", "tobias@quillstead.example")})
        if (auto put = (*book)->put(record); !put) return put;
    return {};
}

Result<void> DemoData::addMails(MailEngine& engine, const std::filesystem::path& mails,
                                const std::string& newsletter) const {
    FileSystem& files = FileSystem::real();
    if (!files.exists(marker())) return {};
    const auto found = files.list(mails);
    if (!found) return failed(found);
    for (const FileInfo& file : *found) {
        if (file.path.extension() != ".eml") continue;
        const auto text = files.read(file.path);
        if (!text) return failed(text);
        const auto mail = readDemoTemplate(*text, RunLoop::main().now(), {{"newsletter", newsletter}});
        const std::string name = file.path.stem().string();
        if (!mail)
            return failure("DemoData", 2,
                           stringWithFormat("The demo mail %@ can't be used: %@", {name, mail.error().description}));
        if (auto added = addMail(engine.library(), *mail, name); !added) return added;
    }
    if (auto removed = files.remove(marker()); !removed) return removed;
    return files.syncFolder(dataFolder_);
}

}  // namespace qs
