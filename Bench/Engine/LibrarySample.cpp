#include "LibrarySample.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <future>
#include <map>

#include "Foundation/FileSystem.h"
#include "Library/Index.h"
#include "Library/IndexTables.h"
#include "Library/IndexTexts.h"
#include "Library/ListKey.h"
#include "Library/SearchText.h"
#include "Mail/MailMaker.h"
#include "MailReading.h"

namespace qs {

namespace {

constexpr int kBatch = 5000, kSeed = 1;
constexpr std::size_t kBatchOfWords = 1000;  // as the library puts them in
constexpr std::size_t kStartOfBody = 300;    // bytes

struct MadeRow {
    MadeMail mail;
    MessageFacts facts;
};

std::vector<MadeRow> madeRows(MailMaker& maker, int count) {
    std::vector<MadeRow> rows;
    for (int i = 0; i < count; ++i) {
        MadeRow row{maker.next(), {}};
        row.facts = messageFacts(row.mail.content, true);
        row.facts.body = singleLine(row.facts.body, kStartOfBody);
        rows.push_back(std::move(row));
    }
    return rows;
}

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

double LibrarySample::secondsForWordsAlone() const {
    std::vector<std::filesystem::path> files;
    for (const auto& each : std::filesystem::directory_iterator(maildir() / "cur"))
        files.push_back(each.path());
    std::ranges::sort(files, std::greater());
    const auto file = scratch() / "Words.sqlite";
    std::filesystem::create_directories(scratch());
    std::filesystem::remove(file);
    std::vector<std::string> notices;
    Index index(file, FileSystem::real(), notices);
    const Index::Gathering gathering(index);
    std::chrono::duration<double> taken{};
    for (std::size_t begin = 0; begin < files.size(); begin += kBatchOfWords) {
        std::vector<MessageFacts> batch;
        for (std::size_t i = std::min(begin + kBatchOfWords, files.size()); i > begin; --i)
            batch.push_back(messageFacts(*FileSystem::real().read(files[i - 1]), true));
        const auto start = std::chrono::steady_clock::now();
        auto writing = index.write();
        std::int64_t last = 0;
        for (const MessageFacts& each : batch) {
            last = std::max(last + 1, firstKeyAt(each.sent.value_or(Date{})));
            texts::put(*writing, last, each);
        }
        writing.commit();
        taken += std::chrono::steady_clock::now() - start;
    }
    return taken.count();
}

void LibrarySample::fillIndex() const {
    {
        std::unique_ptr<Ground> ground;
        if (!RunLoop::mainIfInstalled()) ground = std::make_unique<Ground>();
        open();  // makes the tables
    }
    std::vector<std::string> notices;
    Index index(folder_ / "Library.sqlite", FileSystem::real(), notices);
    const Index::Gathering gathering(index);
    const IndexedMailbox inbox{
        .number = mailboxNumber("ada/INBOX"), .account = accountNumber("ada"), .identifier = "ada/INBOX"};
    MailMaker maker(kSeed, count_, kSampleUntil);
    const auto rowsFrom = [&](int made) {
        return std::async(std::launch::async, [&, made] { return madeRows(maker, std::min(kBatch, count_ - made)); });
    };
    auto making = rowsFrom(0);
    for (int made = 0; made < count_; made += kBatch) {
        const auto rows = making.get();
        if (made + kBatch < count_) making = rowsFrom(made + kBatch);
        auto writing = index.write();
        for (const auto& [mail, facts] : rows)
            tables::insert(*writing, inbox, mail.name.substr(0, mail.name.find(':')), "cur/" + mail.name,
                           mail.isSeen ? 1 : 0, {mail.received}, mail.content.size(), facts);
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
