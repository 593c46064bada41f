// What an empty list tells.
#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "MailApplication.h"
#include "MainViewer.h"
#include "PageState.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

using testing::StartsWith;

std::string emptyText(TemporaryHost& host) {
    const auto section = boost::json::parse(*makePageSections(host.application(), {}).at("list"));
    return std::string(section.at("emptyText").as_string());
}

TEST(EmptyList, TellsOfNoAccountOnlyWhereThereIsNone) {
    AccountRecord off = localAccount("ada", "Ada Lovelace", "ada@example.org");
    off.isEnabled = false;
    TemporaryHost without{{.noAccounts = true}};
    EXPECT_THAT(emptyText(without), StartsWith("There is no account yet."));
    without.shutDown();
    TemporaryHost switchedOff{{.accounts = {off}}};
    EXPECT_EQ(emptyText(switchedOff), "No messages here.");
    switchedOff.shutDown();
    TemporaryHost host;
    EXPECT_EQ(emptyText(host), "No messages here.");
    host.viewer().search("mill");
    EXPECT_EQ(emptyText(host), "Nothing found.");
}

}  // namespace
}  // namespace qs
