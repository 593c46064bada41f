// The same with both databases: what the statements must mean alike.
#include <gmock/gmock.h>

#include "BackendFixture.h"
#include "PrivatePostgres.h"
#include "Store/AccountTables.h"
#include "Store/SqlPool.h"
#include "Store/TrackingTables.h"

namespace qs {
namespace {

using ::testing::SizeIs;

constexpr const char* kPixel = "0A1B2C3D-0000-4000-8000-00000000000A";

class BackendDatabases : public BackendFixture, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        if (std::string(GetParam()) == "SQLite") return;
        if (!PrivatePostgres::isInstalled()) GTEST_SKIP() << "PostgreSQL is not installed";
        postgres_ = std::make_unique<PrivatePostgres>();
        configuration_.postgres = postgres_->connection();
        configuration_.databaseFile.clear();
    }
    SqlPool pool() {
        return SqlPool(
            [this] {
                return postgres_ ? SqlConnection::openPostgres(configuration_.postgres)
                                 : SqlConnection::openSqlite(configuration_.databaseFile);
            },
            4);
    }

    std::unique_ptr<PrivatePostgres> postgres_;
    const Person ada_{.email = "ada@example.org"}, bob_{.email = "bob@example.org"};
};

TEST_P(BackendDatabases, CarryTheWholeWayOfAnAccountAndItsPixels) {
    start();
    get(std::string("/tracking/") + kPixel);
    makeAccount(ada_);
    makeAccount(bob_);
    const std::string body =
        std::string(R"({"pixels":[{"uuid":")") + kPixel + R"(","messageID":"<1@ex\u00e4mple.org>"}]})";
    EXPECT_THAT(postAs(ada_, "/api/v1/tracking", body).json().array(), SizeIs(1));
    EXPECT_THAT(postAs(ada_, "/api/v1/tracking", body).json().array(), SizeIs(1));
    EXPECT_THAT(postAs(bob_, "/api/v1/tracking", body).json().array(), SizeIs(0));
    loop_->advance(60);
    get(std::string("/tracking/") + kPixel);
    get(std::string("/tracking/") + kPixel);
    EXPECT_EQ(postAs(ada_, "/api/v1/properties", "country=Germany").status, 200);
    EXPECT_EQ(postAs(ada_, "/api/v1/properties", "country=France").status, 200);
    EXPECT_EQ(postAs(ada_, "/api/v1/device", "device_id=1&mac_model=x%00y").status, 200);
    EXPECT_EQ(postAs(ada_, "/api/v1/device", "device_id=1&mac_model=x").status, 200);
    post("/password/email", "email=ada@example.org");
    const std::string token = tokenIn(linkIn(takeLetters().at(0), "/password/reset"));
    EXPECT_EQ(post("/password/reset", "token=" + token + "&password=new+password&confirmation=new+password").status,
              200);
    const Person adaAnew{ada_.email, "new password"};
    const Value before = getAs(adaAnew, "/api/v1/tracking?updated_since=2023-11-14T22:13:20Z").json();
    ASSERT_THAT(before.array(), SizeIs(1));
    EXPECT_EQ(before.array()[0]["message_id"].stringValue(), "<1@ex\xC3\xA4mple.org>");
    ASSERT_THAT(before.array()[0]["opens"].array(), SizeIs(3));
    EXPECT_EQ(before.array()[0]["opens"].array()[0]["created_at"].stringValue(), "2023-11-14 22:13:20");
    EXPECT_EQ(before.array()[0]["opens"].array()[2]["created_at"].stringValue(), "2023-11-14 22:14:21");
    restart();
    EXPECT_EQ(getAs(adaAnew, "/api/v1/tracking").json(), before);
    jump(500 * 86'400);
    EXPECT_THAT(getAs(adaAnew, "/api/v1/tracking").json().array(), SizeIs(0));
    EXPECT_EQ(log_.messages(LogLevel::Error), std::vector<std::string>());
}

TEST_P(BackendDatabases, UndoAllOfATransactionThatFails) {
    SqlPool database = pool();
    EXPECT_THROW(database.transaction([&](SqlConnection& connection) {
        addSignUp(connection, "token", "ada@example.org", "hash", {0});
        connection.run("SELECT nonsense FROM nowhere");
    }),
                 SqlFailure);
    EXPECT_FALSE(database.transaction([](SqlConnection& connection) { return hasSignUp(connection, "token", {0}); }));
}

TEST_P(BackendDatabases, LoseNoOpenWhenManyThreadsLogThem) {
    SqlPool database = pool();
    const auto account = database.transaction([](SqlConnection& connection) {
        addSignUp(connection, "token", "ada@example.org", "hash", {0});
        confirmSignUp(connection, "token", {0}, {0});
        const auto found = accountWithEmail(connection, "ada@example.org")->id;
        registerPixels(connection, found, {{kPixel, "<1@example.org>", {}}}, {0});
        return found;
    });
    constexpr int perThread = 10;
    {
        OperationQueue threads(4, OperationQueue::Threads::Own);
        for (int thread = 0; thread < 4; ++thread)
            threads.add([&] {
                for (int i = 0; i < perThread; ++i)
                    database.transaction(
                        [&](SqlConnection& connection) { logOpen(connection, kPixel, {.date = {1000}}); });
            });
        threads.waitUntilFinished();
    }
    const auto pixels =
        database.transaction([&](SqlConnection& connection) { return pixelsUpdatedSince(connection, account, {0}); });
    ASSERT_THAT(pixels, SizeIs(1));
    ASSERT_THAT(pixels[0].opens, SizeIs(4 * perThread));
    EXPECT_EQ(pixels[0].opens.back().date.secondsSince1970, 1000 + 4 * perThread - 1);
}

class BackendPostgres : public BackendFixture {};

TEST_F(BackendPostgres, IsTakenUpAgainWhenItComesBack) {
    if (!PrivatePostgres::isInstalled()) GTEST_SKIP() << "PostgreSQL is not installed";
    PrivatePostgres postgres;
    configuration_.postgres = postgres.connection();
    start();
    const Person ada{.email = "ada@example.org"};
    makeAccount(ada);
    postgres.restart();
    const int first = getAs(ada, "/api/v1/profile").status;
    EXPECT_TRUE(first == 503 || first == 200) << first;
    // Each connection that was open notices for itself.
    int last = 503;
    for (int tries = 0; last != 200 && tries < 10; ++tries)
        last = getAs(ada, "/api/v1/profile").status;
    EXPECT_EQ(last, 200);
    stop();
}

INSTANTIATE_TEST_SUITE_P(Both, BackendDatabases, ::testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
}  // namespace qs
