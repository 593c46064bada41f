// The first synchronisation of a large inbox with a real server on loopback, until every message lies on the disk, and
// how soon all of them are listed; beside it mbsync, which does the first of these with the same server, into the same
// file system, as durably. Before each run the server forgets what it has cached.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Foundation/FileSystem.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"
#include "Mail/MailMaker.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "MailSync.h"
#include "Support/DovecotServer.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

namespace fs = std::filesystem;

constexpr double kUntil = 1'795'392'000;
constexpr double kLongest = 600;  // seconds
constexpr const char* kOther = "/usr/bin/mbsync";

double seconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// A server with one user and so many messages in the inbox, made once.
class Sample {
public:
    explicit Sample(int count) : count_(count) {
        MailMaker maker(1, count, kUntil);
        for (int i = 0; i < count; ++i) {
            const MadeMail mail = maker.next();
            server_.deliver("ada", mail.content, "INBOX", mail.isSeen ? "S" : "");
        }
    }
    void forgetCaches() const {
        for (const auto& each : fs::directory_iterator(server_.maildir("ada")))
            if (each.path().filename().string().starts_with("dovecot")) fs::remove(each.path());
    }
    int count() const { return count_; }
    int port() const { return server_.port(); }

    static Sample& of(benchmark::State& state) {
        static std::map<int, std::unique_ptr<Sample>> samples;
        auto& sample = samples[static_cast<int>(state.range(0))];
        if (!sample) sample = std::make_unique<Sample>(static_cast<int>(state.range(0)));
        return *sample;
    }
    double others = 0;  // seconds that mbsync took
    // Kept to the end: where many files were removed a moment ago, some file systems are slow to make new ones.
    std::vector<std::unique_ptr<TemporaryFolder>> used;

private:
    const int count_;
    DovecotServer server_;
};

int run(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t process = ::fork();
    if (process == 0) {
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    int result = 0;
    ::waitpid(process, &result, 0);
    return result;
}

int filesIn(const fs::path& folder) {
    return static_cast<int>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

void mbsync(benchmark::State& state) {
    if (!fs::exists(kOther)) return state.SkipWithError("mbsync is not installed");
    Sample& sample = Sample::of(state);
    for (auto _ : state) {
        state.PauseTiming();
        const TemporaryFolder& folder = *sample.used.emplace_back(std::make_unique<TemporaryFolder>());
        sample.forgetCaches();
        const std::string path = folder.path().string();
        std::ofstream(folder / "config") << "IMAPAccount ada\nHost 127.0.0.1\nPort " << sample.port()
                                         << "\nUser ada\nPass analytical\nSSLType None\nAuthMechs LOGIN\n"
                                         // We don't compress on a loopback either.
                                         << "DisableExtension COMPRESS=DEFLATE\n\n"
                                         << "IMAPStore far\nAccount ada\n\nMaildirStore near\nInbox " << path
                                         << "/INBOX\n\nChannel all\nFar :far:INBOX\nNear :near:INBOX\nCreate Near\n"
                                         << "Sync Pull\nSyncState *\n";
        ::sync();
        state.ResumeTiming();
        const double begin = seconds();
        if (run({kOther, "-q", "-c", path + "/config", "all"}) != 0) state.SkipWithError("mbsync failed");
        sample.others = seconds() - begin;
        state.PauseTiming();
        if (filesIn(folder / "INBOX/cur") + filesIn(folder / "INBOX/new") != sample.count())
            state.SkipWithError("messages are missing");
        state.ResumeTiming();
    }
}

// Until all is here; "listed" are the seconds until the list knew every message, "found" those until every one is found
// by its words, too, which mbsync has nothing of.
void ours(benchmark::State& state) {
    Sample& sample = Sample::of(state);
    for (auto _ : state) {
        state.PauseTiming();
        const auto loop = RunLoop::make(RunLoop::Clock::Real);
        const ClassRegistry registry;
        const TemporaryFolder& folder = *sample.used.emplace_back(std::make_unique<TemporaryFolder>());
        sample.forgetCaches();
        auto engine =
            MailEngine::open({.dataFolder = folder.path(), .watchFolders = false, .watchesInboxes = false}).value();
        (void)engine->accounts().put({.identifier = "ada",
                                      .displayName = "Ada",
                                      .kind = AccountKind::Imap,
                                      .identities = {{"Ada Lovelace", "ada@example.org"}},
                                      .incoming = IncomingServer{.host = "127.0.0.1",
                                                                 .port = sample.port(),
                                                                 .security = TransportSecurity::None,
                                                                 .user = "ada",
                                                                 .passwordCommand = {"/bin/echo", "analytical"}}});
        NotificationCenter::defaultCenter().post(MailAccountsDidChangeNotification);
        engine->library().accountsDidChange();
        const auto inbox = engine->library().mailboxWithIdentifier("ada/INBOX");
        ::sync();
        state.ResumeTiming();
        const double begin = seconds();
        double listed = 0;
        bool hasWorked = false;
        engine->sync().start();
        const auto ticks = loop->every(0.02, [] {});
        loop->runUntil([&] {
            const SyncStatus status = engine->sync().statuses().at(0);
            if (listed <= 0 && inbox->messageCount() == sample.count()) listed = seconds() - begin;
            if (status.state == SyncStatus::State::Working) hasWorked = true;
            return (hasWorked && status.state != SyncStatus::State::Working) || seconds() - begin > kLongest;
        });
        const double took = seconds() - begin;
        state.PauseTiming();
        ticks->invalidate();
        if (filesIn(folder / "Mail/ada/cur") + filesIn(folder / "Mail/ada/new") != sample.count())
            state.SkipWithError("messages are missing");
        state.counters["listed"] = listed;
        if (sample.others > 0) state.counters["of mbsync's time"] = took / sample.others;
        MailReading::of(engine->library()).waitForTexts();
        state.counters["found"] = seconds() - begin;
        engine.reset();
        state.ResumeTiming();
    }
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(2'000)->Arg(20'000)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
}
BENCHMARK(mbsync)->Apply(sizes);
BENCHMARK(ours)->Apply(sizes);

}  // namespace
}  // namespace qs
