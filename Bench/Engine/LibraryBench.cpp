// The mail library with 10,000, 100,000 and 1,000,000 messages: how long it takes to take them up, to open again, to
// show a page and to search, and what memory that needs. Beside it, in the same run, what mu and notmuch need for the
// same mail. Neither memory nor the time of a page may grow with the library.
#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "Library/Index.h"
#include "LibrarySample.h"
#include "Mail/MailMaker.h"
#include "Peers.h"

namespace qs {
namespace {

// Frequent, fairly frequent and rare ones, two at once, a beginning; all of them of the made-up language.
constexpr std::array<const char*, 6> kSearches{"re", "budget", "portment", "re budget", "from:ada", "budge"};

void perMessage(benchmark::State& state, int count) {
    state.counters["messages/s"] =
        benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate);
}

void firstOpening(benchmark::State& state) {
    const Ground ground;
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    const double before = residentMegabytes();
    for (auto _ : state) {
        sample.forgetIndex();
        const auto library = sample.open();
        state.counters["MB"] = residentMegabytes() - before;
        if (library->page(sampleInbox(), "", 0, 0).total != sample.count()) state.SkipWithError("messages are missing");
    }
    perMessage(state, sample.count());
}

void peerIndexes(benchmark::State& state, const char* program,
                 bool (*index)(const std::filesystem::path&, const std::filesystem::path&)) {
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    if (!peers::isInstalled(program)) return state.SkipWithError("not installed");
    for (auto _ : state)
        if (!index(sample.maildir(), sample.scratch())) state.SkipWithError("failed");
    perMessage(state, sample.count());
}

// What nothing that keeps its words in this database can go below.
void wordsAlone(benchmark::State& state) {
    const Ground ground;
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    for (auto _ : state)
        state.SetIterationTime(sample.secondsForWordsAlone());
    perMessage(state, sample.count());
}

// Until the first page can be shown.
void opening(benchmark::State& state) {
    const Ground ground;
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    (void)sample.open();
    const double before = residentMegabytes();
    for (auto _ : state) {
        const auto library = sample.open();
        benchmark::DoNotOptimize(library->page(sampleInbox(), "", 0, 50));
        state.counters["MB"] = residentMegabytes() - before;
    }
}

void rescan(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state)
        library->rescan("ada/INBOX");
}

void sevenDays(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state)
        if (library->page(lastSevenDays(), "", 0, 50).rows.size() != 50) state.SkipWithError("messages are missing");
}

// The first page of what a criterion selects, and how much there is.
void firstPage(benchmark::State& state, const MessageCriterion& criterion) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    ListPage found;
    for (auto _ : state)
        found = library->page(criterion, "", 0, 50);
    state.counters["found"] = found.total;
}

// A list grouped by conversation, as it is drawn.
void grouped(benchmark::State& state, double part) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    const auto list = MailboxConversations::grouped("ada/INBOX");
    const int total = library->page(list, "", 0, 0).total;
    for (auto _ : state) {
        std::vector<std::int64_t> conversations;
        for (const MessageSummary& row : library->page(list, "", static_cast<int>(part * total), 100).rows)
            conversations.push_back(row.conversation);
        benchmark::DoNotOptimize(library->conversationFacts("ada/INBOX", conversations));
    }
    state.counters["conversations"] = total;
}

// Where an open conversation stands, asked after every change: the one at the end is the farthest.
void placeInGroupedList(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state)
        benchmark::DoNotOptimize(library->conversationsBetween("ada/INBOX", 0, 1));
}

void pageAt(benchmark::State& state, double part, bool nextToLast) {
    const Ground ground;
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    const auto library = sample.open();
    const int offset = static_cast<int>(part * sample.count());
    const double before = residentMegabytes();
    const auto last = library->page(sampleInbox(), "", offset, 50);
    const ListPlace known{offset, nextToLast && !last.rows.empty() ? last.rows.front().key : 0};
    for (auto _ : state)
        benchmark::DoNotOptimize(library->page(sampleInbox(), "", offset + (nextToLast ? 50 : 0), 50, known));
    state.counters["MB"] = residentMegabytes() - before;
}

// The first page and how much there is, as the page asks for it.
void search(benchmark::State& state, const char* text) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    const double before = residentMegabytes();
    ListPage found;
    for (auto _ : state)
        found = library->page(sampleInbox(), text, 0, 50);
    state.counters["found"] = found.total;
    state.counters["MB"] = residentMegabytes() - before;
}

void notmuchSearch(benchmark::State& state, const char* text) {
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    if (!peers::isInstalled("notmuch")) return state.SkipWithError("not installed");
    static bool isReady = peers::notmuchIndexes(sample.maildir(), sample.scratch());
    for (auto _ : state)
        if (!isReady || !peers::notmuchFinds(sample.scratch(), text)) state.SkipWithError("failed");
}

void notmuchStart(benchmark::State& state) {
    const LibrarySample& sample = LibrarySample::of(static_cast<int>(state.range(0)));
    if (!peers::isInstalled("notmuch")) return state.SkipWithError("not installed");
    for (auto _ : state)
        if (!peers::notmuchStarts(sample.scratch())) state.SkipWithError("failed");
}

void conversation(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    const auto rows = library->page(sampleInbox(), "", 0, 500).rows;
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(library->conversation(rows[++i % rows.size()].id, 200));
}

// What every arrival and every click costs: a message on the disk, its flag, its end.
void addFlagErase(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    const auto mailbox = library->mailboxWithIdentifier("ada/INBOX");
    const std::string content = MailMaker(7, 10, kSampleUntil).next().content;
    for (auto _ : state) {
        const auto added = library->add(*mailbox, content, {}, {1'600'000'000});
        const auto id = added.value()->libraryID();
        if (!library->setFlags({id}, {.seen = true}) || !library->erase({id})) state.SkipWithError("failed");
    }
}

// A plug-in that counts the unread mail of an inbox through message objects.
void allObjects(benchmark::State& state) {
    const Ground ground;
    const auto library = LibrarySample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state) {
        int unread = 0;
        for (const MessageRef& each : library->messagesMatchingCriterion(sampleInbox(), 0, kSearchStore))
            unread += each->flags().seen ? 0 : 1;
        benchmark::DoNotOptimize(unread);
    }
}

using Benchmark = benchmark::internal::Benchmark;
constexpr int kMillion = LibrarySample::kWithoutFiles;
void hundredThousand(Benchmark* bench) { bench->Arg(100'000)->Unit(benchmark::kMillisecond); }
void withFiles(Benchmark* bench) { bench->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond); }
void allSizes(Benchmark* bench) { bench->Arg(100'000)->Arg(kMillion)->Unit(benchmark::kMillisecond); }

void registerAll() {
    benchmark::RegisterBenchmark("firstOpening", firstOpening)->Apply(withFiles)->Iterations(1)->UseRealTime();
    benchmark::RegisterBenchmark("firstOpening/wordsAlone", wordsAlone)
        ->Apply(withFiles)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark("firstOpening/mu", peerIndexes, "mu", peers::muIndexes)
        ->Apply(withFiles)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RegisterBenchmark("firstOpening/notmuch", peerIndexes, "notmuch", peers::notmuchIndexes)
        ->Apply(withFiles)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RegisterBenchmark("sevenDays", sevenDays)->Apply(allSizes);
    benchmark::RegisterBenchmark("sevenDays/notmuch", notmuchSearch, "date:2026-11-16..2026-11-23")
        ->Apply(hundredThousand);
    benchmark::RegisterBenchmark("startOfNotmuch", notmuchStart)->Apply(hundredThousand);
    for (const char* text : kSearches) {
        const std::string name = std::string("search/") + text;
        benchmark::RegisterBenchmark(name.c_str(), search, text)->Apply(allSizes);
        const bool isOpen = std::string_view(text) == "budge";
        benchmark::RegisterBenchmark((name + "/notmuch").c_str(), notmuchSearch, isOpen ? "budge*" : text)
            ->Apply(hundredThousand);
    }
    const auto contains = [](MessageCriterion::Kind kind, const char* text) {
        return MessageCriterion::with(kind, text);
    };
    benchmark::RegisterBenchmark("contains/often", firstPage, contains(MessageCriterion::Kind::SubjectContains, "udge"))
        ->Apply(allSizes);
    benchmark::RegisterBenchmark("contains/never", firstPage,
                                 contains(MessageCriterion::Kind::FromContains, "no such person"))
        ->Apply(allSizes);
    benchmark::RegisterBenchmark("account", firstPage, contains(MessageCriterion::Kind::InAccount, "ada"))
        ->Apply(allSizes);
    benchmark::RegisterBenchmark("grouped/first", grouped, 0.0)->Apply(allSizes);
    benchmark::RegisterBenchmark("grouped/middle", grouped, 0.5)->Apply(allSizes);
    benchmark::RegisterBenchmark("grouped/placeAtTheEnd", placeInGroupedList)->Apply(allSizes);
    benchmark::RegisterBenchmark("opening", opening)->Apply(withFiles)->Arg(kMillion);
    benchmark::RegisterBenchmark("rescan", rescan)->Apply(withFiles);
    benchmark::RegisterBenchmark("pageAt/first", pageAt, 0.0, false)->Apply(allSizes);
    benchmark::RegisterBenchmark("pageAt/middle", pageAt, 0.5, false)->Apply(allSizes);
    benchmark::RegisterBenchmark("pageAt/middleFromTheOneBefore", pageAt, 0.5, true)->Apply(allSizes);
    benchmark::RegisterBenchmark("conversation", conversation)->Apply(allSizes);
    benchmark::RegisterBenchmark("addFlagErase", addFlagErase)->Apply(withFiles);
    benchmark::RegisterBenchmark("allObjects", allObjects)->Apply(withFiles);
}

[[maybe_unused]] const bool isRegistered = (registerAll(), true);

}  // namespace
}  // namespace qs
