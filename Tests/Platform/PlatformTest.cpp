#include "Platform.h"

#include <gtest/gtest.h>

#include "Support/PrivateBus.h"
#include "SystemFacts/ProcessInfo.h"

namespace qs {
namespace {

TEST(PlatformPorts, AnswerTheMinorVersionThatTheProgramWasStartedAs) {
    const NoBus none;
    EXPECT_EQ(osMinor(), 0) << "no platform yet";
    for (const int minor : {10, 11, 12}) {
        Platform::install(Platform::make({.dataFolder = "/data", .osMinor = minor}));
        EXPECT_EQ(osMinor(), minor);
    }
    const auto& info = Platform::current().processInfo;
    EXPECT_EQ(info->documentsFolder().parent_path(), "/data");
    EXPECT_EQ(info->logFolder().parent_path(), "/data");
    EXPECT_FALSE(info->hostName().empty());
    EXPECT_FALSE(info->userFullName().empty());
    Platform::install({});
    EXPECT_EQ(osMinor(), 0);
}

}  // namespace
}  // namespace qs
