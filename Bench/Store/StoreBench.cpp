// The object store with 100,000 records beside plain SQL statements that do the same work in the same file form. Time
// is the store's; "plain" is that of the statements, "ratio" how many times longer the store takes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <stdexcept>

#include "Core/Store/ManagedObjectContext.h"
#include "Core/Store/PersistentStore.h"
#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

constexpr int kRecords = 100'000, kFoundOrMade = 10'000;
constexpr Attribute<std::string> kUuid{"uuid"};
const char* const kInsert = "INSERT INTO TrackingPixel(_id, _version, created, isRemote, messageID, uuid) "
                            "VALUES(?, 1, ?, ?, ?, ?)";

std::string uuid(int number) { return "0F9A3C11-77E2-4D0B-" + std::to_string(100'000'000 + number); }
std::string messageID(int number) { return std::to_string(number) + ".89ab@mail.example.org"; }

ManagedObjectModel::Ref model() {
    static const auto model = [] {
        const auto text = FileSystem::real().read(QS_MODEL_FILE);
        return ManagedObjectModel::fromPropertyList(parsePropertyList(*text).value()).value();
    }();
    return model;
}

std::unique_ptr<ManagedObjectContext> open(const std::filesystem::path& file) {
    auto store = PersistentStore::open(file, model(), FileSystem::real());
    if (!store) throw std::runtime_error(store.error().description);
    return std::make_unique<ManagedObjectContext>(std::move(*store), ObjectClasses());
}

std::unique_ptr<Database> openPlain(const std::filesystem::path& file) {
    return std::make_unique<Database>(file, Database::Options{.cacheKilobytes = 8000, .isDurable = true});
}

ManagedObjectRef insert(ManagedObjectContext& context, int number) {
    auto pixel = context.insertNewObjectForEntityForName("TrackingPixel");
    pixel->setValue(Date{1.7e9 + number}, "created");
    pixel->setValue(messageID(number), "messageID");
    pixel->setValue(uuid(number), "uuid");
    return pixel;
}

void save(ManagedObjectContext& context) {
    if (auto saved = context.save(); !saved) throw std::runtime_error(saved.error().description);
}

ManagedObjectRef find(ManagedObjectContext& context, int number) {
    auto found = context.executeFetchRequest({"TrackingPixel", kUuid.is(uuid(number)), {}, 1});
    return found->empty() ? nullptr : found->front();
}

// The full store, made once.
const std::filesystem::path& sample() {
    static const TemporaryFolder folder;
    static const std::filesystem::path file = [] {
        auto context = open(folder / "full.sqlite");
        for (int i = 0; i < kRecords; ++i)
            insert(*context, i);
        save(*context);
        return folder / "full.sqlite";
    }();
    return file;
}

template <class Work>
double secondsOf(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Sums up the two sides of a comparison.
class Comparison {
public:
    explicit Comparison(benchmark::State& state) : state_(state) {}
    ~Comparison() {
        const auto iterations = static_cast<double>(state_.iterations());
        state_.counters["plain"] = plain_ / iterations;
        state_.counters["ratio"] = store_ / plain_;
    }
    template <class Store, class Plain>
    void measure(Store store, Plain plain) {
        const double seconds = secondsOf(store);
        state_.SetIterationTime(seconds);
        store_ += seconds;
        plain_ += secondsOf(plain);
    }

private:
    benchmark::State& state_;
    double store_ = 0, plain_ = 0;
};

void insertMany(benchmark::State& state) {
    Comparison comparison(state);
    for (auto _ : state) {
        const TemporaryFolder folder;
        auto context = open(folder / "store.sqlite");
        { open(folder / "plain.sqlite"); }
        auto plain = openPlain(folder / "plain.sqlite");
        comparison.measure(
            [&] {
                for (int i = 0; i < kRecords; ++i)
                    insert(*context, i);
                save(*context);
            },
            [&] {
                Transaction transaction(*plain);
                for (int i = 0; i < kRecords; ++i)
                    plain->run(kInsert, {std::int64_t{i} + 1, 1.7e9 + i, std::int64_t{0}, messageID(i), uuid(i)});
                transaction.commit();
            });
    }
}

// With its check for damage, which the plain side does too.
void openFull(benchmark::State& state) {
    const auto& file = sample();
    Comparison comparison(state);
    for (auto _ : state) {
        std::unique_ptr<ManagedObjectContext> context;
        comparison.measure([&] { context = open(file); },
                           [&] {
                               context.reset();
                               auto plain = openPlain(file);
                               benchmark::DoNotOptimize(plain->text("PRAGMA integrity_check"));
                               for (const auto& entity : model()->entities())
                                   plain->integer("SELECT max(_id) FROM " + entity.name);
                           });
    }
}

// What every change in the plug-in costs: one value, durable on the disk.
void saveOneChange(benchmark::State& state) {
    const TemporaryFolder folder;
    std::filesystem::copy(sample(), folder / "store.sqlite");
    std::filesystem::copy(sample(), folder / "plain.sqlite");
    auto context = open(folder / "store.sqlite");
    auto plain = openPlain(folder / "plain.sqlite");
    const auto pixel = find(*context, 4711);
    Comparison comparison(state);
    std::int64_t number = 0;
    for (auto _ : state) {
        ++number;
        comparison.measure(
            [&] {
                pixel->setValue(messageID(static_cast<int>(number)), "messageID");
                save(*context);
            },
            [&] {
                Transaction transaction(*plain);
                plain->run("UPDATE TrackingPixel SET messageID = ? WHERE _id = ?",
                           {messageID(static_cast<int>(number)), std::int64_t{4712}});
                transaction.commit();
            });
    }
}

void fetchByKey(benchmark::State& state) {
    auto context = open(sample());
    auto plain = openPlain(sample());
    Comparison comparison(state);
    int number = 0;
    for (auto _ : state) {
        number = (number + 7919) % kRecords;
        comparison.measure([&] { benchmark::DoNotOptimize(find(*context, number)); },
                           [&] {
                               Query row = plain->query("SELECT _id, created, isRemote, messageID, uuid FROM "
                                                        "TrackingPixel WHERE uuid = ?",
                                                        {uuid(number)});
                               row.step();
                               benchmark::DoNotOptimize(row.text(3));
                           });
    }
}

void fetchAll(benchmark::State& state) {
    auto context = open(sample());
    auto plain = openPlain(sample());
    Comparison comparison(state);
    for (auto _ : state) {
        std::size_t objects = 0, rows = 0;
        comparison.measure(
            [&] {
                objects = context->executeFetchRequest({"TrackingPixel", {}, {}, 0})->size();
            },
            [&] {
                Query row = plain->query("SELECT _id, _version, created, isRemote, messageID, uuid FROM TrackingPixel");
                for (; row.step(); ++rows) {
                    benchmark::DoNotOptimize(row.real(2));
                    benchmark::DoNotOptimize(row.integer(3));
                    benchmark::DoNotOptimize(row.text(4));
                    benchmark::DoNotOptimize(row.text(5));
                }
            });
        if (objects != rows) state.SkipWithError("records are missing");
    }
}

// An answer of the backend on a new machine: each record is looked for among those made just before, and made.
void findOrMake(benchmark::State& state) {
    Comparison comparison(state);
    for (auto _ : state) {
        const TemporaryFolder folder;
        auto context = open(folder / "store.sqlite");
        { open(folder / "plain.sqlite"); }
        auto plain = openPlain(folder / "plain.sqlite");
        comparison.measure(
            [&] {
                for (int i = 0; i < kFoundOrMade; ++i)
                    if (!find(*context, i)) insert(*context, i);
                save(*context);
            },
            [&] {
                Transaction transaction(*plain);
                for (int i = 0; i < kFoundOrMade; ++i)
                    if (plain->integer("SELECT count(*) FROM TrackingPixel WHERE uuid = ?", {uuid(i)}) == 0)
                        plain->run(kInsert, {std::int64_t{i} + 1, 1.7e9 + i, std::int64_t{0}, messageID(i), uuid(i)});
                transaction.commit();
            });
    }
}

BENCHMARK(openFull)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(insertMany)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(findOrMake)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(saveOneChange)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(fetchByKey)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(fetchAll)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qs
