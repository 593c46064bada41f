// The mail library with 10,000 and 100,000 messages: how long it takes to take them up, to open again, to show a page
// and to search, and what memory that needs. The memory must not grow with the library.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <string>

#include "AccountBook.h"
#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"
#include "MailLibrary.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

double residentMegabytes() {
    std::ifstream facts("/proc/self/statm");
    double pages = 0, resident = 0;
    facts >> pages >> resident;
    return resident * 4096 / 1e6;
}

std::string word(int number) {
    std::string text;
    for (int rest = number * 7919 % 20'011 + 1; rest > 0; rest /= 20)
        text += static_cast<char>('a' + rest % 20);
    return text;
}

std::string message(int number) {
    std::string text = "Message-Id: <" + std::to_string(number) +
                       "@example.net>\nDate: Sun, 22 Nov 2026 22:00:00 +0000\n" + "From: " + word(number % 500) +
                       " <p" + std::to_string(number % 500) + "@example.net>\n" +
                       "To: Ada <ada@example.org>\nSubject: " + word(number) + " " + word(number + 1) + "\n\n";
    for (int i = 0; i < 200; ++i)
        text += word(number + i * i) + (i % 12 == 11 ? '\n' : ' ');
    return text;
}

// A library of that size, made once and kept for all measurements.
class Sample {
public:
    explicit Sample(int count) : count_(count) {
        for (const char* part : {"cur", "new", "tmp"})
            std::filesystem::create_directories(folder_ / "Mail/ada" / part);
        for (int i = 0; i < count; ++i)
            std::ofstream(folder_ / ("Mail/ada/cur/" + std::to_string(1'500'000'000 + i) + ".M1P1Q1R1.box:2," +
                                     (i % 5 == 0 ? "" : "S")))
                << message(i);
        book_ = *AccountBook::open(folder_ / "Accounts.plist", FileSystem::real());
        (void)book_->put({.identifier = "ada", .identities = {{"", "ada@example.org"}}});
    }
    std::shared_ptr<MailLibrary> open() const {
        return MailLibrary::open(folder_.path(), book_, FileSystem::real()).value();
    }
    void forgetIndex() const {
        for (const char* side : {"", "-wal", "-shm"})
            std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
    }
    int count() const { return count_; }

    static Sample& of(int count) {
        static std::map<int, std::unique_ptr<Sample>> samples;
        auto& sample = samples[count];
        if (!sample) sample = std::make_unique<Sample>(count);
        return *sample;
    }

private:
    int count_;
    TemporaryFolder folder_;
    std::shared_ptr<AccountBook> book_;
};

struct Ground {
    std::unique_ptr<RunLoop> loop = RunLoop::make(RunLoop::Clock::Real);
    ClassRegistry registry;
};

MessageCriterion inbox() { return MessageCriterion::with(MessageCriterion::Kind::InMailbox, "ada/INBOX"); }

void firstOpening(benchmark::State& state) {
    const Ground ground;
    const Sample& sample = Sample::of(static_cast<int>(state.range(0)));
    const double before = residentMegabytes();
    for (auto _ : state) {
        sample.forgetIndex();
        const auto library = sample.open();
        state.counters["MB"] = residentMegabytes() - before;
        if (library->page(inbox(), "", 0, 0).total != sample.count()) state.SkipWithError("messages are missing");
    }
    state.counters["messages/s"] =
        benchmark::Counter(static_cast<double>(sample.count()), benchmark::Counter::kIsIterationInvariantRate);
}

void opening(benchmark::State& state) {
    const Ground ground;
    const Sample& sample = Sample::of(static_cast<int>(state.range(0)));
    (void)sample.open();
    const double before = residentMegabytes();
    for (auto _ : state) {
        const auto library = sample.open();
        state.counters["MB"] = residentMegabytes() - before;
        benchmark::DoNotOptimize(library);
    }
}

void rescan(benchmark::State& state) {
    const Ground ground;
    const auto library = Sample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state)
        library->rescan("ada/INBOX");
}

void pageAt(benchmark::State& state, double part) {
    const Ground ground;
    const Sample& sample = Sample::of(static_cast<int>(state.range(0)));
    const auto library = sample.open();
    const int offset = static_cast<int>(part * sample.count());
    const double before = residentMegabytes();
    for (auto _ : state)
        benchmark::DoNotOptimize(library->page(inbox(), "", offset, 50));
    state.counters["MB"] = residentMegabytes() - before;
}

void search(benchmark::State& state) {
    const Ground ground;
    const auto library = Sample::of(static_cast<int>(state.range(0))).open();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(library->page({}, word(++i % 1000), 0, 50));
}

// What every arrival and every click costs: a message on the disk, its flag, its end.
void addFlagErase(benchmark::State& state) {
    const Ground ground;
    const auto library = Sample::of(static_cast<int>(state.range(0))).open();
    const auto mailbox = library->mailboxWithIdentifier("ada/INBOX");
    const std::string content = message(7);
    for (auto _ : state) {
        const auto added = library->add(*mailbox, content, {}, {1'600'000'000});
        const auto id = added.value()->libraryID();
        if (!library->setFlags({id}, {.seen = true}) || !library->erase({id})) state.SkipWithError("failed");
    }
}

// A plug-in that counts the unread mail of an inbox through message objects.
void allObjects(benchmark::State& state) {
    const Ground ground;
    const auto library = Sample::of(static_cast<int>(state.range(0))).open();
    for (auto _ : state) {
        int unread = 0;
        for (const MessageRef& each : library->messagesMatchingCriterion(inbox(), 0, kSearchStore))
            unread += each->flags().seen ? 0 : 1;
        benchmark::DoNotOptimize(unread);
    }
}

void sizes(benchmark::internal::Benchmark* bench) { bench->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond); }
BENCHMARK(firstOpening)->Apply(sizes)->Iterations(1);
BENCHMARK(opening)->Apply(sizes);
BENCHMARK(rescan)->Apply(sizes);
BENCHMARK_CAPTURE(pageAt, first, 0.0)->Apply(sizes);
BENCHMARK_CAPTURE(pageAt, middle, 0.5)->Apply(sizes);
BENCHMARK(search)->Apply(sizes);
BENCHMARK(addFlagErase)->Apply(sizes);
BENCHMARK(allObjects)->Apply(sizes);

}  // namespace
}  // namespace qs
