#include "Text/FilePaths.h"

#include <gtest/gtest.h>

#include "Support/TornDisk.h"

namespace qs {
namespace {

TEST(FilePaths, TheNextFreeNameIsTaken) {
    const struct {
        const char* wanted;
        std::vector<const char*> taken;
        const char* next;
    } cases[] = {
        {"/d/a.txt", {}, "/d/a.txt"},
        {"/d/a.txt", {"/d/a.txt"}, "/d/a-1.txt"},
        {"/d/a.txt", {"/d/a.txt", "/d/a-1.txt", "/d/a-3.txt"}, "/d/a-2.txt"},
        {"/d/a.tar.gz", {"/d/a.tar.gz"}, "/d/a.tar-1.gz"},
        {"/d/readme", {"/d/readme"}, "/d/readme-1."},
        {"/d/.hidden", {"/d/.hidden"}, "/d/.hidden-1."},
        {"/d/a.b/c", {"/d/a.b/c"}, "/d/a.b/c-1."},
        {"/d/100%@.txt", {"/d/100%@.txt"}, "/d/100%@-1.txt"},
    };
    for (const auto& c : cases) {
        TornDisk disk;
        for (const char* file : c.taken)
            disk.put(file, "x");
        EXPECT_EQ(QSNextAvailableFilePath(c.wanted, disk), c.next);
    }
}

TEST(FilePaths, TheLastNumberIs998) {
    TornDisk disk;
    disk.put("/d/a.txt", "x");
    for (int number = 1; number < 998; ++number)
        disk.put("/d/a-" + std::to_string(number) + ".txt", "x");
    EXPECT_EQ(QSNextAvailableFilePath("/d/a.txt", disk), "/d/a-998.txt");
    disk.put("/d/a-998.txt", "x");
    EXPECT_EQ(QSNextAvailableFilePath("/d/a.txt", disk), "/d/a-998.txt");
}

}  // namespace
}  // namespace qs
