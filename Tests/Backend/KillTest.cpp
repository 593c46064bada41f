// The real program, killed while several clients register pixels and fetch them: what it has acknowledged is there
// afterwards. QUILLSTEAD_FULL_TESTS=1 kills it 200 times.
#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "BackendFixture.h"
#include "Process/CompanionProcess.h"
#include "Store/SqlConnection.h"
#include "Support/TestSocket.h"
#include "Text/Base64.h"
#include "Text/Uuid.h"

namespace qs {
namespace {

constexpr int kClients = 4;
const std::string kPassword = "correct horse";

// What the clients were told, and what they asked for at most.
struct Told {
    std::mutex lock;
    std::map<std::string, int> opens;  // acknowledged, by id
    std::map<std::string, int> asked;  // fetches that were sent
    std::vector<std::string> registered;
};

class RunningBackend {
public:
    explicit RunningBackend(const std::filesystem::path& folder) {
        auto started = CompanionProcess::start(
            QS_BACKEND_PROGRAM, {"--demo", folder.string(), "--account", "ada@example.org", "--until-input-ends"},
            kPassword + "\n");
        if (!started) return;
        process_ = std::move(*started);
        const std::string line = process_->readLine(30).value_or("");
        const std::string port = line.substr(line.rfind(':') + 1);
        std::from_chars(port.data(), port.data() + port.size(), port_);
    }
    int port() const { return port_; }
    void kill() { ::kill(process_->processIdentifier(), SIGKILL); }

private:
    std::unique_ptr<CompanionProcess> process_;
    int port_ = 0;
};

// Registers a pixel and fetches it twice, over and over until nobody answers; `answered` hears of each answer.
void ask(int port, Told& told, const std::function<void()>& answered) {
    const auto connection = connectTo(port);
    const std::string authorization = "Basic " + base64EncodedString("ada@example.org:" + kPassword);
    for (;;) {
        const std::string uuid = newUUIDString();
        const std::string body = R"({"pixels":[{"uuid":")" + uuid + R"(","messageID":"<x@example.org>"}]})";
        const Reply reply = askOver(*connection, requestOf({.method = "POST",
                                                            .path = "/api/v1/tracking",
                                                            .body = body,
                                                            .headers = {{"Authorization", authorization}}}));
        if (reply.status != 200) return;
        {
            const std::lock_guard guard(told.lock);
            told.registered.push_back(uuid);
        }
        answered();
        for (int i = 0; i < 2; ++i) {
            {
                const std::lock_guard guard(told.lock);
                ++told.asked[uuid];
            }
            if (askOver(*connection, requestOf({.path = "/tracking/" + uuid})).status != 200) return;
            {
                const std::lock_guard guard(told.lock);
                ++told.opens[uuid];
            }
            answered();
        }
    }
}

TEST(BackendKilled, LosesNothingThatItAcknowledged) {
    const int kills = std::getenv("QUILLSTEAD_FULL_TESTS") ? 200 : 8;
    const TemporaryFolder folder;
    std::mt19937 random(7);
    Told told;
    for (int kill = 0; kill < kills; ++kill) {
        RunningBackend backend(folder.path());
        ASSERT_NE(backend.port(), 0);
        std::atomic<int> left = std::uniform_int_distribution(1, 60)(random);
        std::vector<std::thread> clients;
        for (int i = 0; i < kClients; ++i)
            clients.emplace_back([&] {
                ask(backend.port(), told, [&] {
                    if (--left == 0) backend.kill();  // while the others are in the midst of something
                });
            });
        for (std::thread& client : clients)
            client.join();
        ASSERT_LE(left, 0) << "it ended by itself";

        const auto database = SqlConnection::openSqlite(folder / "backend.sqlite");
        std::map<std::string, std::int64_t> kept;
        for (const SqlRow& row : database->run("SELECT p.uuid, COUNT(o.pixel) FROM pixels p LEFT JOIN opens o "
                                               "ON o.pixel = p.id GROUP BY p.id"))
            kept[row.text(0)] = row.integer(1);
        for (const std::string& uuid : told.registered)
            ASSERT_TRUE(kept.contains(uuid)) << "registered before kill " << kill;
        for (const auto& [uuid, count] : told.opens)
            ASSERT_GE(kept[uuid], count) << "at kill " << kill;
        for (const auto& [uuid, count] : told.asked)
            ASSERT_LE(kept[uuid], count) << "at kill " << kill;
    }
    EXPECT_FALSE(told.opens.empty());
}

}  // namespace
}  // namespace qs
