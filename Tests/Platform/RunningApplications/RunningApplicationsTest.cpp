#include "RunningApplications/RunningApplications.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Adapters.h"
#include "Support/PrivateBus.h"

namespace qs {
namespace {

constexpr std::string_view kIdentifier = "com.example.Helper";

void announceAndEnd() {
    const auto applications = makeRunningApplications(), others = makeRunningApplications();
    EXPECT_TRUE(others->runningApplicationsWithBundleIdentifier(kIdentifier).empty());
    {
        const auto announcement = applications->announce(kIdentifier);
        ASSERT_TRUE(announcement) << announcement.error().description;
        const auto running = others->runningApplicationsWithBundleIdentifier(kIdentifier);
        ASSERT_EQ(running.size(), 1u);
        EXPECT_EQ(running[0].processIdentifier, ::getpid());
        EXPECT_TRUE(others->runningApplicationsWithBundleIdentifier("com.example.Other").empty());
        EXPECT_FALSE(others->announce(kIdentifier)) << "one at a time";
    }
    EXPECT_TRUE(others->runningApplicationsWithBundleIdentifier(kIdentifier).empty());
    EXPECT_TRUE(others->announce(kIdentifier)) << "after the end the name is free";
    for (const char* odd : {"", "../../etc/x", "no point", "a b.c"}) {
        EXPECT_FALSE(applications->announce(odd)) << odd;
        EXPECT_TRUE(applications->runningApplicationsWithBundleIdentifier(odd).empty()) << odd;
    }
}

TEST(RunningApplications, AreKnownOverTheBus) {
    const PrivateBus bus;
    announceAndEnd();
}

TEST(RunningApplications, AreKnownWithoutABus) {
    const NoBus none;
    announceAndEnd();
}

}  // namespace
}  // namespace qs
