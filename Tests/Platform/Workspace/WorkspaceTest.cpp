#include "Workspace/Workspace.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "Adapters.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Programs in these tests are scripts that write their arguments, one a line, into a pipe that the test reads to its
// end.
class WorkspaceTest : public ::testing::Test {
protected:
    WorkspaceTest() : formerPath_(::getenv("PATH")) {
        ::setenv("PATH", (folder_ / "bin").c_str(), 1);
        ::setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
        ::mkfifo((folder_ / "pipe").c_str(), 0600);
    }
    ~WorkspaceTest() override {
        ::setenv("PATH", formerPath_.c_str(), 1);
        ::unsetenv("XDG_DATA_HOME");
    }

    std::filesystem::path program(std::string_view name) {
        const auto file =
            folder_.write(name, "#!/bin/sh\nfor word in \"${0##*/}\" \"$@\"; do echo \"$word\"; done > '" +
                                    (folder_ / "pipe").string() + "'\n");
        ::chmod(file.c_str(), 0700);
        return file;
    }
    std::vector<std::string> wordsOfNextStart() {
        std::ifstream pipe(folder_ / "pipe");
        std::vector<std::string> words;
        for (std::string line; std::getline(pipe, line);)
            words.push_back(line);
        return words;
    }

    TemporaryFolder folder_;
    std::string formerPath_;
    std::shared_ptr<Workspace> workspace_ = makeWorkspace();
};

TEST_F(WorkspaceTest, AddressesReachTheDesktopUntouchedByAnyShell) {
    program("bin/xdg-open");
    for (const char* url : {"https://example.com/?a=1&b=$(id);'\"`id`", "HTTP://example.com", "mailto:a@example.com",
                            "file:///tmp/a%20b"}) {
        ASSERT_TRUE(workspace_->openURL(url)) << url;
        EXPECT_THAT(wordsOfNextStart(), ElementsAre("xdg-open", url));
    }
}

TEST_F(WorkspaceTest, OtherAddressesGoNowhere) {
    program("bin/xdg-open");
    for (const char* url :
         {"javascript:alert(1)", "smb://server/x", "quillstead://x", "/etc/passwd", "--help", "", "http",
          "https:", "https://a b", "https://a\nb", "data:text/html,x", " https://example.com"})
        EXPECT_FALSE(workspace_->openURL(url)) << url;
}

TEST_F(WorkspaceTest, AProgramsAddressesOpenForWhoeverKnowsItsScheme) {
    program("bin/xdg-open");
    for (const char* url : {"papers:///view/1/s1/$(id)/", "PAPERS:x"}) {
        ASSERT_TRUE(workspace_->openURLOfProgram(url, "papers")) << url;
        EXPECT_THAT(wordsOfNextStart(), ElementsAre("xdg-open", url));
    }
    for (const char* url : {"file:///etc/passwd", "papers2://x", "papers", "papers:", "papers:a b", "--help", ""})
        EXPECT_FALSE(workspace_->openURLOfProgram(url, "papers")) << url;
    for (const char* scheme : {"", "--help", "pa pers"})
        EXPECT_FALSE(workspace_->openURLOfProgram(std::string(scheme) + ":x", scheme)) << scheme;
}

TEST_F(WorkspaceTest, WithoutADesktopItSaysSo) {
    const auto opened = workspace_->openURL("https://example.com");
    ASSERT_FALSE(opened);
    EXPECT_THAT(opened.error().description, HasSubstr("no desktop"));
}

TEST_F(WorkspaceTest, FilesOpenWithTheNamedApplicationOrTheDesktop) {
    program("bin/xdg-open");
    workspace_->registerApplication("com.example.Viewer", program("apps/viewer"));
    const auto log = folder_.write("-odd name.log", "x");
    ASSERT_TRUE(workspace_->openFile(log, "com.example.Viewer"));
    EXPECT_THAT(wordsOfNextStart(), ElementsAre("viewer", log.string()));
    for (const char* application : {"", "Console", "NoSuchProgram", "../apps/viewer"}) {
        ASSERT_TRUE(workspace_->openFile(log, application)) << application;
        EXPECT_THAT(wordsOfNextStart(), ElementsAre("xdg-open", log.string())) << application;
    }
    EXPECT_FALSE(workspace_->openFile(folder_ / "gone.log"));
}

TEST_F(WorkspaceTest, FindsAndLaunchesApplications) {
    const auto helper = program("apps/helper");
    folder_.write("data/applications/com.example.Helper.desktop",
                  "[Desktop Entry]\nName=Helper\nExec=\"" + helper.string() + "\" --flag %u\n");
    EXPECT_EQ(workspace_->absolutePathForAppBundleWithIdentifier("com.example.Helper"), helper);
    EXPECT_TRUE(workspace_->absolutePathForAppBundleWithIdentifier("com.example.None").empty());
    EXPECT_TRUE(workspace_->absolutePathForAppBundleWithIdentifier("../com.example.Helper").empty());
    workspace_->registerApplication("com.example.Helper", "/elsewhere/helper");
    EXPECT_EQ(workspace_->absolutePathForAppBundleWithIdentifier("com.example.Helper"), "/elsewhere/helper");

    ASSERT_TRUE(workspace_->launchApplicationAtURL(helper, 0x200, {"--bundles", "a b", ""}));
    EXPECT_THAT(wordsOfNextStart(), ElementsAre("helper", "--bundles", "a b", ""));
    workspace_->registerApplication("com.example.Helper", helper, {"--data", "d"});
    ASSERT_TRUE(workspace_->launchApplicationAtURL(helper, 0, {"--more"}));
    EXPECT_THAT(wordsOfNextStart(), ElementsAre("helper", "--data", "d", "--more"));
}

TEST_F(WorkspaceTest, WhatCannotBeLaunchedIsTold) {
    EXPECT_FALSE(workspace_->launchApplicationAtURL(folder_ / "missing", 0, {}));
    EXPECT_FALSE(workspace_->launchApplicationAtURL(folder_.write("text", "no program"), 0, {}));
    const auto broken = folder_.write("broken", "#!/no/such/interpreter\n");
    ::chmod(broken.c_str(), 0700);
    const auto launched = workspace_->launchApplicationAtURL(broken, 0, {});
    ASSERT_FALSE(launched);
    EXPECT_THAT(launched.error().description, HasSubstr("could not be started"));
}

TEST_F(WorkspaceTest, ALaunchedProgramInheritsNoOpenFiles) {
    const auto lister = folder_.write("lister", "#!/bin/sh\nfor n in 3 4 5 6 7 8 9; do if (: >&$n) 2>/dev/null; then "
                                                "echo open $n; fi; done > '" +
                                                    (folder_ / "pipe").string() + "'\n");
    ::chmod(lister.c_str(), 0700);
    std::vector<int> open;
    for (int i = 0; i < 5; ++i)
        open.push_back(::dup(2));  // without the close-on-exec flag
    ASSERT_TRUE(workspace_->launchApplicationAtURL(lister, 0, {}));
    EXPECT_THAT(wordsOfNextStart(), ::testing::IsEmpty());
    for (const int each : open)
        ::close(each);
}

}  // namespace
}  // namespace qs
