// Taking up the texts of messages that came in great numbers: behind everything else, a little at a time.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <future>

#include "Foundation/FileSystem.h"
#include "Library/IndexTexts.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

// One transaction's. More are quicker, and others wait longer.
constexpr std::size_t kBatch = 500;
// So many messages are to be found as soon as they are here.
constexpr std::size_t kFew = 100;

// Only of this thread, as Linux has it. It may not be taken back, so no lock is to be held by such a thread: whoever
// waits for that would wait for all that is more urgent.
void stepBack() { ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19); }

}  // namespace

struct LibraryCore::TextRead {
    IndexedFile row;
    std::optional<MessageFacts> facts;  // nothing: only its header is here, or the file can't be read
};

void LibraryCore::readTextsSoon() {
    if (reading_->isStopped() || isTextReadingAsked_.exchange(true)) return;
    textReader_.add([this] {
        isTextReadingAsked_ = false;  // what is asked for from now on may come too late for this
        try {
            while (mayReadOn() && readTexts()) {
            }
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);
        }
    });
}

bool LibraryCore::readTexts() {
    const auto parsed = [this](const std::vector<IndexedFile>& rows) {
        return std::async(std::launch::async, [this, rows] {
            stepBack();
            std::vector<TextRead> read;
            for (const IndexedFile& row : rows)
                if (mayReadOn()) read.push_back({row, row.isOnlyListed() ? std::nullopt : factsOfFile(row.id)});
            // Each that goes into the index of words behind a later one would be a write of its own.
            std::ranges::sort(read, {}, [](const TextRead& each) { return each.row.seq; });
            return read;
        });
    };
    std::optional<Index::Gathering> gathering;
    std::size_t taken = 0;
    arrivals_.await();
    auto parsing = parsed(texts::toCome(*index_->read(), kBatch));
    // While the texts of some are put into the index, those of the next are read.
    for (auto read = parsing.get(); !read.empty() && mayReadOn(); read = parsing.get()) {
        arrivals_.await();
        if (!gathering && texts::areVeryMany(*index_->read())) gathering.emplace(*index_);
        auto next = texts::toCome(*index_->read(), 2 * kBatch);
        std::erase_if(next, [&](const IndexedFile& row) {
            return std::ranges::binary_search(read, row.seq, {}, [](const TextRead& each) { return each.row.seq; });
        });
        next.resize(std::min(next.size(), kBatch));
        parsing = parsed(next);
        const std::size_t more = takeTexts(read);
        if (more == 0) break;
        taken += more;
    }
    return taken > 0;
}

tables::Text LibraryCore::textOf(std::size_t messages) {
    return messages > kFew ? tables::Text::Later : tables::Text::Now;
}

void LibraryCore::waitForTexts() {
    const Lull::Hurry hurry(arrivals_);
    waitUntilReadIn();
    textReader_.waitUntilFinished();
}

std::optional<MessageFacts> LibraryCore::factsOfFile(std::int64_t id) {
    const auto content = contentStart(id, kIndexedBytes);
    if (!content) return {};
    return messageFacts(*content, content->size() < kIndexedBytes);
}

std::size_t LibraryCore::takeTexts(const std::vector<TextRead>& read) {
    std::set<LibraryMailboxRef> changed;
    std::size_t taken = 0;
    auto index = index_->write();
    for (const auto& [before, facts] : read) {
        // Moved, or removed, or its file has come meanwhile: then it is taken up as it is now, later.
        const auto row = tables::find(*index, before.id);
        const auto mailbox = row ? mailboxNumbered(row->mailbox) : nullptr;
        if (!mailbox || row->isOnlyListed() != before.isOnlyListed() || !texts::isToCome(*index, row->seq)) continue;
        tables::takeText(*index, mailbox->indexed(), *row, facts ? &*facts : nullptr);
        ++taken;
        if (facts) changed.insert(mailbox);
        if (const auto message = facts ? cache_->live(row->id) : nullptr) message->forgetDetails();
    }
    index.commit();
    for (const LibraryMailboxRef& mailbox : changed)
        announcer_->mailboxChanged(mailbox->identifier());
    return taken;
}

}  // namespace qs
