#include <gmock/gmock.h>

#include <atomic>

#include "BackendFixture.h"
#include "Store/SqlConnection.h"
#include "Support/TestSocket.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr const char* kFirst = "0A1B2C3D-0000-4000-8000-00000000000A";
constexpr const char* kSecond = "0A1B2C3D-0000-4000-8000-00000000000B";
constexpr const char* kSafari =
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_12_6) AppleWebKit/603.3.8 (KHTML, like Gecko) Version/10.1 Safari/603";

class BackendTracking : public BackendFixture {
protected:
    BackendTracking() { configuration_.trustedProxies = {"127.0.0.1"}; }
    void begin() {
        start();
        makeAccount(ada_);
    }
    Reply registerPixel(const Person& person, const std::string& uuid, const std::string& messageID) {
        return postAs(person, "/api/v1/tracking",
                      R"({"pixels":[{"uuid":")" + uuid + R"(","messageID":")" + messageID + R"("}]})");
    }
    Reply fetch(const std::string& uuid, const std::string& agent = kSafari, const std::string& from = "203.0.113.9") {
        return ask({.path = "/tracking/" + uuid, .headers = {{"User-Agent", agent}, {"X-Forwarded-For", from}}});
    }
    Reply pullFrom(const std::string& mark) {
        return getAs(ada_, "/api/v1/tracking?updated_since=" + urlEncodedString(mark));
    }
    Array pull(const std::string& mark = "1970-01-01T00:00:00Z") { return pullFrom(mark).json().array(); }
    std::vector<std::string> datesOf(const Value& pixel) {
        std::vector<std::string> dates;
        for (const Value& open : pixel["opens"].array())
            dates.push_back(open["created_at"].stringValue());
        return dates;
    }
    const Person ada_{.email = "ada@example.org"}, bob_{.email = "bob@example.org"};
};

TEST_F(BackendTracking, TellsTheSenderOfEachOpen) {
    begin();
    const Reply registered =
        postAs(ada_, "/api/v1/tracking",
               std::string(R"({"pixels":[{"uuid":")") + kFirst + R"(","messageID":"<1@example.org>"},{"uuid":")" +
                   kSecond + R"(","messageID":"<2@example.org>"}]})");
    EXPECT_EQ(registered.status, 200);
    ASSERT_THAT(registered.json().array(), SizeIs(2));
    EXPECT_EQ(registered.json().array()[0]["uuid"].stringValue(), kFirst);
    EXPECT_EQ(registered.json().array()[0]["message_id"].stringValue(), "<1@example.org>");

    loop_->advance(60);
    EXPECT_EQ(fetch(asciiLowered(kFirst)).status, 200) << "case does not matter";
    const Array pixels = pull();
    ASSERT_THAT(pixels, SizeIs(2));
    EXPECT_EQ(pixels[0]["uuid"].stringValue(), kSecond) << "the latest change last";
    EXPECT_EQ(pixels[0]["message_id"].stringValue(), "<2@example.org>");
    EXPECT_THAT(pixels[0]["opens"].array(), SizeIs(0));
    ASSERT_THAT(pixels[1]["opens"].array(), SizeIs(1));
    const Value open = pixels[1]["opens"].array()[0];
    EXPECT_EQ(open["created_at"].stringValue(), "2023-11-14 22:14:20");
    EXPECT_EQ(open["ip"].stringValue(), "203.0.113.0");
    EXPECT_EQ(open["userAgentString"].stringValue(), "macOS 10.12 | Safari 10");
    EXPECT_FALSE(open.dictionary().contains("city")) << "without a database of places there is none";
}

TEST_F(BackendTracking, AnswersAlikeForEveryId) {
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    const Reply known = fetch(kFirst);
    EXPECT_THAT(known.body, ::testing::StartsWith("GIF89a"));
    EXPECT_EQ(known.headers.at("content-type"), "image/gif");
    EXPECT_THAT(known.headers.at("cache-control"), HasSubstr("no-store"));
    EXPECT_FALSE(known.headers.contains("set-cookie"));
    for (const char* id :
         {kSecond, "00000000-0000-0000-0000-000000000000", "", "nonsense", "..%2F..%2Fetc%2Fpasswd", "%00", "%zz",
          "0A1B2C3D-0000-4000-8000-00000000000A?x=1", "0A1B2C3D-0000-4000-8000-00000000000A/x"}) {
        const Reply other = fetch(id);
        EXPECT_EQ(other.head, known.head) << id;
        EXPECT_EQ(other.body, known.body) << id;
    }
    EXPECT_EQ(ask({.method = "POST", .path = std::string("/tracking/") + kFirst}).head,
              ask({.method = "POST", .path = std::string("/tracking/") + kSecond}).head);
    loop_->advance(1);
    EXPECT_TRUE(SqlConnection::openSqlite(configuration_.databaseFile)
                    ->run("SELECT 1 FROM early_opens WHERE uuid LIKE '00000000-%'")
                    .empty());
    // The one with a query is the pixel's, too; the one with more behind it is not.
    EXPECT_THAT(datesOf(pull().at(0)), SizeIs(2));
}

TEST_F(BackendTracking, GivesOpensOfOnePixelDistinctSecondsInTheirOrder) {
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    for (int i = 0; i < 3; ++i)
        fetch(kFirst);
    EXPECT_THAT(datesOf(pull().at(0)),
                ElementsAre("2023-11-14 22:13:20", "2023-11-14 22:13:21", "2023-11-14 22:13:22"));
    loop_->advance(1);
    fetch(kFirst);
    loop_->advance(30);
    fetch(kFirst);
    EXPECT_THAT(datesOf(pull().at(0)), ElementsAre("2023-11-14 22:13:20", "2023-11-14 22:13:21", "2023-11-14 22:13:22",
                                                   "2023-11-14 22:13:23", "2023-11-14 22:13:51"));
    for (int i = 0; i < 100; ++i)
        fetch(kFirst);
    EXPECT_LT(datesOf(pull().at(0)).size(), 70u) << "a flood does not reach far into the future";
}

TEST_F(BackendTracking, TellsAMonthMoreThanItIsAskedFor) {
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    jump(40 * 86'400);  // 2023-12-24 22:13:20
    registerPixel(ada_, kSecond, "<2@example.org>");
    struct Case {
        const char* mark;
        std::size_t pixels;
    };
    for (const Case& c :
         {Case{"1970-01-01T00:00:00Z", 2}, Case{"2023-11-20T00:00:00Z", 2}, Case{"2023-12-14T22:13:20+00:00", 2},
          Case{"2023-12-16T22:13:20Z", 1}, Case{"2023-12-15T23:13:20+01:00", 2}, Case{"2024-01-23T00:00:00-05:00", 1},
          Case{"2024-02-23T00:00:00Z", 0}})
        EXPECT_THAT(pull(c.mark), SizeIs(c.pixels)) << c.mark;
    EXPECT_THAT(getAs(ada_, "/api/v1/tracking?updated_since=2023-12-15T23:13:20+01:00").json().array(), SizeIs(2))
        << "the plus sign came as it is";
    EXPECT_THAT(getAs(ada_, "/api/v1/tracking").json().array(), SizeIs(2));
    EXPECT_EQ(pullFrom("yesterday").status, 422);
    jump(40 * 86'400);
    fetch(kFirst);
    EXPECT_THAT(pull("2024-02-23T00:00:00Z"), SizeIs(1)) << "an open is a change";
}

TEST_F(BackendTracking, LeavesAPixelToWhoeverRegistersItFirst) {
    begin();
    makeAccount(bob_);
    registerPixel(ada_, kFirst, "<1@example.org>");
    EXPECT_THAT(registerPixel(bob_, kFirst, "<stolen@example.org>").json().array(), SizeIs(0));
    fetch(kFirst);
    EXPECT_THAT(getAs(bob_, "/api/v1/tracking").json().array(), SizeIs(0));
    EXPECT_EQ(pull().at(0)["message_id"].stringValue(), "<1@example.org>");
    EXPECT_THAT(registerPixel(ada_, kFirst, "<1b@example.org>").json().array(), SizeIs(1));
    EXPECT_EQ(pull().at(0)["message_id"].stringValue(), "<1b@example.org>");
    EXPECT_THAT(pull().at(0)["opens"].array(), SizeIs(1));
}

TEST_F(BackendTracking, CountsOpensThatCameBeforeTheRegistration) {
    begin();
    fetch(kFirst);
    fetch(kSecond);
    jump(86'400);
    registerPixel(ada_, kFirst, "<1@example.org>");
    EXPECT_THAT(datesOf(pull().at(0)), ElementsAre("2023-11-14 22:13:20"));
    jump(86'400 + 7200);
    registerPixel(ada_, kSecond, "<2@example.org>");
    EXPECT_THAT(pull().at(1)["opens"].array(), SizeIs(0)) << "nobody asked for it for two days";
}

TEST_F(BackendTracking, TakesWhatIsSoundOfARegistration) {
    begin();
    struct Case {
        const char* why;
        std::string body;
        int status;
        std::size_t taken;
    };
    const std::string good = R"({"uuid":"0a1b2c3d-0000-4000-8000-00000000000a","messageID":"<1@e.org>"})";
    for (const Case& c :
         {Case{"no JSON", "pixels", 400, 0}, Case{"no list", R"({"pixels":7})", 422, 0}, Case{"no key", "{}", 422, 0},
          Case{"empty", R"({"pixels":[]})", 200, 0}, Case{"one", R"({"pixels":[)" + good + "]}", 200, 1},
          Case{"zeros", R"({"pixels":[{"uuid":"00000000-0000-0000-0000-000000000000","messageID":"<1@e.org>"}]})", 200,
               0},
          Case{"wrong form", R"({"pixels":[{"uuid":"x","messageID":"<1@e.org>"},7,)" + good + "]}", 200, 1},
          Case{"no Message-Id", R"({"pixels":[{"uuid":"0A1B2C3D-0000-4000-8000-00000000000C"}]})", 200, 0},
          Case{"control characters",
               R"({"pixels":[{"uuid":"0A1B2C3D-0000-4000-8000-00000000000C","messageID":"<1\r\nX: y>"}]})", 200, 0}}) {
        const Reply reply = postAs(ada_, "/api/v1/tracking", c.body);
        EXPECT_EQ(reply.status, c.status) << c.why;
        EXPECT_THAT(reply.json().array(), SizeIs(c.taken)) << c.why;
    }
}

TEST_F(BackendTracking, BelievesOnlyTrustedProxiesAndKeepsWhatItIsTold) {
    struct Case {
        const char* why;
        std::vector<std::string> trusted;
        AddressDetail detail;
        const char* forwarded;
        const char* kept;
    };
    int number = 0;
    for (const Case& c :
         {Case{"nobody is trusted", {}, AddressDetail::Full, "203.0.113.9", "127.0.0.1"},
          Case{"whole", {"127.0.0.1"}, AddressDetail::Full, "203.0.113.9", "203.0.113.9"},
          Case{"the last of several counts", {"127.0.0.1"}, AddressDetail::Full, "1.2.3.4, 203.0.113.9", "203.0.113.9"},
          Case{"through two proxies",
               {"127.0.0.1", "10.0.0.1"},
               AddressDetail::Full,
               "1.2.3.4, 203.0.113.9, 10.0.0.1",
               "203.0.113.9"},
          Case{"no address", {"127.0.0.1"}, AddressDetail::Full, "unknown", "127.0.0.1"},
          Case{"short", {"127.0.0.1"}, AddressDetail::Shortened, "2001:db8:1:2:3::4", "2001:db8:1::"},
          Case{"none", {"127.0.0.1"}, AddressDetail::None, "203.0.113.9", ""}}) {
        configuration_.trustedProxies = c.trusted;
        configuration_.addressDetail = c.detail;
        configuration_.databaseFile = folder_ / std::to_string(++number);
        begin();
        registerPixel(ada_, kFirst, "<1@example.org>");
        fetch(kFirst, kSafari, c.forwarded);
        EXPECT_EQ(pull().at(0)["opens"].array().at(0)["ip"].stringValue(), c.kept) << c.why;
        stop();
    }
}

TEST_F(BackendTracking, LosesNoOpenAtAStopAndKeepsAllAfterIt) {
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    fetch(kFirst);
    stop();
    EXPECT_THAT(SqlConnection::openSqlite(configuration_.databaseFile)->run("SELECT 1 FROM opens"), SizeIs(1));
    start();
    EXPECT_THAT(datesOf(pull().at(0)), ElementsAre("2023-11-14 22:13:20"));
}

TEST_F(BackendTracking, LosesNoneOfTenThousandOpens) {
    constexpr int kConnections = 16, kRounds = 625, kPixels = 500;
    const auto uuidOf = [](int number) {
        return "0A1B2C3D-0000-4000-8000-000000" + std::to_string(100'000 + number % kPixels);
    };
    begin();
    std::string pixels;
    for (int i = 0; i < kPixels; ++i)
        pixels += std::string(i == 0 ? "" : ",") + R"({"uuid":")" + uuidOf(i) + R"(","messageID":"<x@example.org>"})";
    ASSERT_THAT(postAs(ada_, "/api/v1/tracking", R"({"pixels":[)" + pixels + "]}").json().array(), SizeIs(kPixels));

    std::vector<std::unique_ptr<TestConnection>> connections;
    for (int i = 0; i < kConnections; ++i)
        connections.push_back(connectTo(server_->port()));
    std::atomic<int> answered = 0, running = kConnections;
    for (int i = 0; i < kConnections; ++i)
        loop_->postToGlobalQueue([&, i] {
            for (int round = 0; round < kRounds; ++round)
                if (askOver(*connections[static_cast<std::size_t>(i)],
                            requestOf({.path = "/tracking/" + uuidOf(round * kConnections + i)}))
                        .status == 200)
                    ++answered;
            loop_->post([&] { --running; });
        });
    loop_->runUntil([&] { return running == 0; });
    EXPECT_EQ(answered, kConnections * kRounds);
    std::size_t told = 0;
    for (const Value& pixel : pull())
        told += pixel["opens"].array().size();
    EXPECT_EQ(told, 10'000u);
    EXPECT_EQ(answered, 10'000);
}

TEST_F(BackendTracking, AnswersWhileTheDatabaseIsAwayAndWritesLater) {
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    const auto other = SqlConnection::openSqlite(configuration_.databaseFile);
    other->run("ALTER TABLE opens RENAME TO elsewhere");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(fetch(kFirst).status, 200);
    other->run("ALTER TABLE elsewhere RENAME TO opens");
    loop_->advance(6);
    EXPECT_THAT(other->run("SELECT 1 FROM opens"), SizeIs(3));
    EXPECT_EQ(fetch(kFirst).status, 200);
    EXPECT_THAT(other->run("SELECT 1 FROM opens"), SizeIs(4)) << "written before it is answered again";
}

TEST_F(BackendTracking, DropsWhatIsOld) {
    configuration_.keepDays = 100;
    begin();
    registerPixel(ada_, kFirst, "<1@example.org>");
    registerPixel(ada_, kSecond, "<2@example.org>");
    fetch(kFirst);
    jump(60 * 86'400);
    fetch(kFirst);
    jump(60 * 86'400);
    const Array pixels = pull();
    ASSERT_THAT(pixels, SizeIs(1));
    EXPECT_THAT(datesOf(pixels[0]), ElementsAre("2024-01-13 22:13:20"));
}

}  // namespace
}  // namespace qs
