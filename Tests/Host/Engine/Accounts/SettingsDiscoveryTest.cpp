#include "Accounts/SettingsDiscovery.h"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <set>

namespace qs {
namespace {

using ::testing::HasSubstr;
using Source = FoundSettings::Source;

// The world as a test says it is: DNS records, and servers that answer.
struct World {
    std::map<std::string, ServiceRecord> records;
    std::set<std::string> answering;  // "host:port"
    bool hasDns = true;
    std::atomic_int probes = 0;

    FoundSettings discover(
        const std::string& address, const std::function<bool()>& isCancelled = [] { return false; }) {
        const DiscoveryPorts ports{.services = [this](const std::string& name) -> Result<std::vector<ServiceRecord>> {
                                       if (!hasDns) return failure("test", 1, "no answer");
                                       const auto found = records.find(name);
                                       return found == records.end() ? std::vector<ServiceRecord>()
                                                                     : std::vector{found->second};
                                   },
                                   .answers =
                                       [this](const ServerPlace& place, bool) {
                                           ++probes;
                                           return answering.contains(place.host + ":" + std::to_string(place.port));
                                       }};
        return discoverSettings(address, ProviderTable::builtIn(), ports, isCancelled);
    }
};

std::string text(const std::optional<ServerPlace>& place) {
    if (!place) return "none";
    return place->host + ":" + std::to_string(place->port) +
           (place->security == TransportSecurity::Tls ? " tls" : " starttls");
}

TEST(SettingsDiscovery, AsksTheTableThenDnsThenTheServersThemselves) {
    struct Case {
        const char* why;
        std::map<std::string, ServiceRecord> records;
        std::set<std::string> answering;
        bool hasDns;
        Source source;
        std::string incoming, outgoing;
        bool isTrusted;
    };
    const ServiceRecord imap{"imap.own.example", 993, 0, 0}, smtp{"smtp.own.example", 465, 0, 0},
        elsewhere{"mail.host.example", 143, 0, 0}, submission{"smtp.own.example", 587, 0, 0};
    for (const Case& c :
         {Case{"records of the domain itself",
               {{"_imaps._tcp.own.example", imap}, {"_submissions._tcp.own.example", smtp}},
               {},
               true,
               Source::ServiceRecords,
               "imap.own.example:993 tls",
               "smtp.own.example:465 tls",
               true},
          Case{"records that point elsewhere are shown first",
               {{"_imap._tcp.own.example", elsewhere}, {"_submission._tcp.own.example", submission}},
               {},
               true,
               Source::ServiceRecords,
               "mail.host.example:143 starttls",
               "smtp.own.example:587 starttls",
               false},
          Case{"half by records, half by trying",
               {{"_imaps._tcp.own.example", imap}},
               {"mail.own.example:587"},
               true,
               Source::ServiceRecords,
               "imap.own.example:993 tls",
               "mail.own.example:587 starttls",
               true},
          Case{"usual names",
               {},
               {"mail.own.example:993", "own.example:993", "smtp.own.example:587"},
               true,
               Source::Guess,
               "mail.own.example:993 tls",
               "smtp.own.example:587 starttls",
               true},
          Case{"no DNS for records, and nobody there", {}, {}, false, Source::Nothing, "none", "none", false}}) {
        World world;
        world.records = c.records;
        world.answering = c.answering;
        world.hasDns = c.hasDns;
        const FoundSettings found = world.discover("ada@Own.Example");
        EXPECT_EQ(found.source, c.source) << c.why;
        EXPECT_EQ(text(found.incoming), c.incoming) << c.why;
        EXPECT_EQ(text(found.outgoing), c.outgoing) << c.why;
        EXPECT_EQ(found.isTrusted, c.isTrusted) << c.why;
    }
}

TEST(SettingsDiscovery, KnownProvidersAreNotAskedAnything) {
    World world;
    const FoundSettings found = world.discover("somebody@GMAIL.com");
    EXPECT_EQ(found.source, Source::Table);
    EXPECT_TRUE(found.isTrusted);
    EXPECT_EQ(found.signIn, ProviderSignIn::AppPassword);
    EXPECT_THAT(found.hint, HasSubstr("app password"));
    EXPECT_EQ(world.probes, 0);
    EXPECT_EQ(world.discover("somebody@outlook.com").signIn, ProviderSignIn::Browser);
}

TEST(SettingsDiscovery, EndsSoonWhenItIsStopped) {
    World world;
    world.answering = {"imap.own.example:993"};
    EXPECT_EQ(world.discover("ada@own.example", [] { return true; }).source, Source::Nothing);
    EXPECT_EQ(world.probes, 0);
}

TEST(ProviderTable, IsWholeAndSaysWhatPeopleMustDo) {
    const auto& providers = ProviderTable::builtIn().all();
    EXPECT_GE(providers.size(), 20u);
    std::set<std::string> domains;
    for (const Provider& each : providers) {
        for (const std::string& domain : each.domains)
            EXPECT_TRUE(domains.insert(domain).second) << domain << " is in it twice";
        EXPECT_TRUE(each.signIn == ProviderSignIn::Password || !each.hint.empty()) << each.domains.front();
    }
}

TEST(ProviderTable, RefusesHalfAnEntry) {
    const std::string whole =
        R"([{"domains": ["a.example"], "imap": "imap.a.example:993 tls", "smtp": "smtp.a.example:587 starttls"}])";
    ASSERT_TRUE(ProviderTable::parse(whole));
    for (const char* const each :
         {"[\"a.example\"]", "imap.a.example:993 tls", "smtp.a.example:587 starttls", ":993", " tls"}) {
        std::string half = whole;
        half.replace(half.find(each), std::string_view(each).size(), *each == '[' ? "[]" : "");
        EXPECT_FALSE(ProviderTable::parse(half)) << half;
    }
    EXPECT_FALSE(ProviderTable::parse("no json"));
}

}  // namespace
}  // namespace qs
