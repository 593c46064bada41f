#include "Tracking/PlaceFinder.h"

#include <gmock/gmock.h>

#include "BackendFixture.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

// A database in the MaxMind DB format (https://maxmind.github.io/MaxMind-DB/) that knows one network of 8 bits.
class PlaceDatabase {
public:
    static std::string knowing(unsigned char network, const std::string& country, const std::string& city,
                               const std::string& timezone) {
        constexpr unsigned nodes = 8;
        std::string tree;
        for (unsigned depth = 0; depth < nodes; ++depth) {
            // Record values: a node, "nothing" (the number of nodes), or data behind a gap of 16 bytes.
            const unsigned onward = depth + 1 < nodes ? depth + 1 : nodes + 16;
            const bool isOne = (network >> (7 - depth) & 1) != 0;
            tree += three(isOne ? nodes : onward) + three(isOne ? onward : nodes);
        }
        const std::string data = map(3) + text("country") + names(country) + text("city") + names(city) +
                                 text("location") + map(1) + text("time_zone") + text(timezone);
        const std::string about = map(9) + text("node_count") + std::string("\xC1\x08", 2) + text("record_size") +
                                  number(24) + text("ip_version") + number(4) + text("database_type") + text("Test") +
                                  text("languages") + std::string("\x01\x04", 2) + text("en") +
                                  text("binary_format_major_version") + number(2) +
                                  text("binary_format_minor_version") + number(0) + text("build_epoch") +
                                  std::string("\x01\x02\x01", 3) + text("description") + map(0);
        return tree + std::string(16, '\0') + data + "\xAB\xCD\xEFMaxMind.com" + about;
    }

private:
    static std::string three(unsigned value) {
        return {static_cast<char>(value >> 16), static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
    }
    static std::string text(const std::string& text) {
        if (text.size() < 29) return static_cast<char>(0x40 | text.size()) + text;
        return std::string("\x5D", 1) + static_cast<char>(text.size() - 29) + text;
    }
    static std::string map(unsigned size) { return std::string(1, static_cast<char>(0xE0 | size)); }
    static std::string number(unsigned value) {  // of 16 bits
        return std::string("\xA1", 1) + static_cast<char>(value);
    }
    static std::string names(const std::string& name) {
        return map(1) + text("names") + map(1) + text("en") + text(name);
    }
};

TEST(PlaceFinder, KnowsWhatTheDatabaseKnows) {
    const TemporaryFolder folder;
    const auto file =
        folder.write("places.mmdb", PlaceDatabase::knowing(81, "Sweden", "Link\xC3\xB6ping", "Europe/Stockholm"));
    const auto finder = PlaceFinder::open(file);
    ASSERT_TRUE(finder) << finder.error().description;
    const Place place = (*finder)->find("81.2.69.142");
    EXPECT_EQ(place.country, "Sweden");
    EXPECT_EQ(place.city, "Link\xC3\xB6ping");
    EXPECT_EQ(place.timezone, "Europe/Stockholm");
    for (const char* unknown : {"82.2.69.142", "::1", "", "nonsense"})
        EXPECT_EQ((*finder)->find(unknown).country, "") << unknown;
}

TEST(PlaceFinder, RefusesWhatIsNoDatabase) {
    const TemporaryFolder folder;
    EXPECT_FALSE(PlaceFinder::open(folder.write("places.mmdb", "no database")));
    const auto missing = PlaceFinder::open(folder / "missing.mmdb");
    ASSERT_FALSE(missing);
    EXPECT_THAT(missing.error().description, HasSubstr("missing.mmdb"));
}

class BackendPlaces : public BackendFixture {};

TEST_F(BackendPlaces, AreToldWithTheOpenAlthoughTheAddressIsShortened) {
    configuration_.placeDatabase =
        folder_.write("places.mmdb", PlaceDatabase::knowing(127, "Sweden", "Visby", "Europe/Stockholm"));
    start();
    const Person ada{.email = "ada@example.org"};
    makeAccount(ada);
    const std::string id = "0A1B2C3D-0000-4000-8000-00000000000A";
    postAs(ada, "/api/v1/tracking", R"({"pixels":[{"uuid":")" + id + R"(","messageID":"<1@example.org>"}]})");
    get("/tracking/" + id);
    const Value open = getAs(ada, "/api/v1/tracking").json().array().at(0)["opens"].array().at(0);
    EXPECT_EQ(open["country"].stringValue(), "Sweden");
    EXPECT_EQ(open["city"].stringValue(), "Visby");
    EXPECT_EQ(open["timezone"].stringValue(), "Europe/Stockholm");
    EXPECT_EQ(open["ip"].stringValue(), "127.0.0.0");
}

}  // namespace
}  // namespace qs
