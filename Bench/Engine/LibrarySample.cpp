#include "LibrarySample.h"

#include <fstream>
#include <map>

#include "Foundation/FileSystem.h"
#include "Library/Index.h"
#include "Library/IndexTables.h"
#include "Library/SearchText.h"
#include "Mail/MailMaker.h"
#include "MailReading.h"

namespace qs {

namespace {

constexpr int kBatch = 5000, kSeed = 1;
constexpr std::size_t kStartOfBody = 300;  // bytes

}  // namespace

double residentMegabytes() {
    std::ifstream facts("/proc/self/statm");
    double pages = 0, resident = 0;
    facts >> pages >> resident;
    return resident * 4096 / 1e6;
}

MessageCriterion sampleInbox() { return MessageCriterion::with(MessageCriterion::Kind::InMailbox, "ada/INBOX"); }

MessageCriterion lastSevenDays() {
    return MessageCriterion::allOf({sampleInbox(), MessageCriterion::with(MessageCriterion::Kind::ReceivedSince,
                                                                          Date{kSampleUntil - 7 * 86'400.0})});
}

LibrarySample& LibrarySample::of(int count) {
    static std::map<int, std::unique_ptr<LibrarySample>> samples;
    auto& sample = samples[count];
    if (!sample) sample.reset(new LibrarySample(count));
    return *sample;
}

LibrarySample::LibrarySample(int count) : count_(count) {
    makeMaildir(maildir(), MailMaker(kSeed, count, kSampleUntil), count < kWithoutFiles ? count : 0);
    book_ = *AccountBook::open(folder_ / "Accounts.plist", FileSystem::real());
    (void)book_->put({.identifier = "ada", .identities = {{"", "ada@example.org"}}});
    if (count >= kWithoutFiles) fillIndex();
}

std::shared_ptr<MailLibrary> LibrarySample::open() const {
    auto library = MailLibrary::open(folder_.path(), book_, FileSystem::real()).value();
    MailReading::of(*library).readIn();
    MailReading::of(*library).waitUntilReadIn();
    return library;
}

void LibrarySample::forgetIndex() const {
    for (const char* side : {"", "-wal", "-shm"})
        std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
}

void LibrarySample::fillIndex() const {
    {
        std::unique_ptr<Ground> ground;
        if (!RunLoop::mainIfInstalled()) ground = std::make_unique<Ground>();
        open();  // makes the tables
    }
    std::vector<std::string> notices;
    Index index(folder_ / "Library.sqlite", FileSystem::real(), notices);
    const IndexedMailbox inbox{
        .number = mailboxNumber("ada/INBOX"), .account = accountNumber("ada"), .identifier = "ada/INBOX"};
    MailMaker maker(kSeed, count_, kSampleUntil);
    for (int made = 0; made < count_;) {
        auto writing = index.write();
        for (const int end = std::min(made + kBatch, count_); made < end; ++made) {
            const MadeMail mail = maker.next();
            MessageFacts facts = messageFacts(mail.content, true);
            facts.body = singleLine(facts.body, kStartOfBody);
            tables::insert(*writing, inbox, mail.name.substr(0, mail.name.find(':')), "cur/" + mail.name,
                           mail.isSeen ? 1 : 0, {mail.received}, mail.content.size(), facts);
        }
        writing.commit();
    }
    // Else the library would look for the files.
    auto writing = index.write();
    const auto changed = [&](const char* part) {
        return FileSystem::real().info(maildir() / part)->modified.secondsSince1970;
    };
    writing->run("UPDATE mailboxes SET cur_changed = ?, new_changed = ? WHERE number = ?",
                 {changed("cur"), changed("new"), inbox.number});
    writing.commit();
}

}  // namespace qs
