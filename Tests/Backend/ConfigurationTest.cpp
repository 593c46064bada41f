#include "Configuration.h"

#include <gmock/gmock.h>

#include "BackendOptions.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kLeast = "[server]\nbase_url = https://q.example.org/\n[database]\nfile = q.sqlite\n"
                           "[mail]\nfrom = q@example.org\nfolder = letters\n";

TEST(BackendConfiguration, ReadsWhatAServerNeeds) {
    const auto read =
        parseBackendConfiguration("# a comment\r\n; another\n\n" + kLeast +
                                      "smtp_password_command = pass  show q\n[tracking]\n addresses=none\n"
                                      "[server]\nlisten = 10.0.0.1, ::1\nport=80\n",
                                  "/etc/q");
    ASSERT_TRUE(read) << read.error().description;
    EXPECT_EQ(read->baseUrl, "https://q.example.org");
    EXPECT_EQ(read->databaseFile, "/etc/q/q.sqlite");
    EXPECT_THAT(read->listenAddresses, ElementsAre("10.0.0.1", "::1"));
    EXPECT_EQ(read->port, 80);
    EXPECT_EQ(read->addressDetail, AddressDetail::None);
    EXPECT_THAT(read->smtp.passwordCommand, ElementsAre("pass", "show", "q"));
}

TEST(BackendConfiguration, SaysWhereItIsWrong) {
    struct Case {
        std::string text;
        const char* sentence;
    };
    for (const Case& c :
         {Case{"[server]\nport = x\n", "Line 2"}, Case{"[server]\nport = 70000\n", "port"},
          Case{"[server]\nporrt = 1\n", "There is no porrt in [server]"}, Case{"port = 1\n", "There is no port in []"},
          Case{"\n\nnonsense\n", "Line 3"}, Case{"[server]\nbase_url = ftp://x/\n", "base_url"},
          Case{"[server]\nclient_key = ABC\n", "client_key"}, Case{"[mail]\nfrom = nobody\n", "from"},
          Case{"[tracking]\nkeep_days = 5\n", "keep_days"}, Case{"[server]\nbase_url = https://x/\n", "[database]"},
          Case{kLeast + "[database]\npostgresql = host=x\n", "[database]"}}) {
        const auto read = parseBackendConfiguration(c.text, "/etc/q");
        ASSERT_FALSE(read) << c.text;
        EXPECT_THAT(read.error().description, HasSubstr(c.sentence)) << c.text;
    }
}

TEST(BackendConfiguration, ExplainsItselfWithAnExampleThatWorks) {
    const std::string example = exampleBackendConfiguration();
    const auto read = parseBackendConfiguration(example, "/etc/q");
    ASSERT_TRUE(read) << read.error().description;
    // Each setting is taken when it is taken in, but for those that exclude each other.
    for (std::size_t at = example.find("\n# "); at != std::string::npos; at = example.find("\n# ", at + 1)) {
        const std::string line = example.substr(at + 3, example.find('\n', at + 1) - at - 3);
        if (line.find(" = ") == std::string::npos || line.starts_with("postgresql") ||
            line.starts_with("folder = /var"))
            continue;
        std::string with = example;
        with.erase(at + 1, 2);
        EXPECT_TRUE(parseBackendConfiguration(with, "/etc/q")) << line;
    }
}

TEST(BackendOptions, AskForOneWayToRun) {
    EXPECT_EQ(parseBackendOptions({"--config", "a", "--port", "80"})->port, 80);
    EXPECT_TRUE(parseBackendOptions({"--help"})->help);
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{},
                                                  {"--config"},
                                                  {"--config", "a", "--demo", "b"},
                                                  {"--demo", "a", "--port", "x"},
                                                  {"--demo", "a", "--port", "70000"},
                                                  {"--demo", "a", "--inbox", "ada@example.org"},
                                                  {"--demo", "a", "--inbox", "=/mail"},
                                                  {"--config", "a", "--inbox", "ada@example.org=/mail"},
                                                  {"--config", "a", "--account", "ada@example.org"},
                                                  {"--nonsense"},
                                                  {"file"}})
        EXPECT_FALSE(parseBackendOptions(wrong)) << ::testing::PrintToString(wrong);
}

}  // namespace
}  // namespace qs
