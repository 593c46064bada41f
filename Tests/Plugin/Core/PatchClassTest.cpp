// The patch mechanism: what happens when a pair of methods can't be exchanged.
#include "Core/PatchClass.h"

#include <gmock/gmock.h>

#include "Foundation/Assertion.h"
#include "Support/VirtualClockTest.h"

namespace qs {
namespace {

const Operation<int(int)> host_add{"add:"};
const Operation<int(int)> quillstead_add{"quillstead_add:"};
const Operation<int(int)> host_missing{"missing:"};
const Operation<std::string(std::string)> quillstead_other{"quillstead_other:"};

class PatchClassTest : public VirtualClockTest {
protected:
    void SetUp() override {
        host_ = &registry_.define("MCThing");
        host_->add(host_add, [](HostObject&, int n) { return n + 1; });
    }
    PatchClass patch() {
        PatchClass made("Thing_Quillstead");
        made.add(quillstead_add, [](HostObject& self, int n) { return quillstead_add(self, n) * 10; });
        made.add(quillstead_other, [](HostObject&, std::string text) { return text; });
        made.addAsCategoryOf("Thing");
        return made;
    }
    Class* host_ = nullptr;
};

TEST_F(PatchClassTest, TheReplacementReachesTheHostsOwnCode) {
    auto made = patch();
    made.exchange("Thing", host_add.selector(), quillstead_add.selector());
    made.finish();
    auto object = std::make_shared<HostObject>("MCThing");
    EXPECT_EQ(host_add(object, 1), 20);
}

TEST_F(PatchClassTest, AFailedPairIsLoggedAndOnlyTheLastOneRaises) {
    auto made = patch();
    made.exchange("Thing", host_missing.selector(), quillstead_add.selector());
    EXPECT_TRUE(log_.contains("Swizzle Error: "));
    EXPECT_THAT(log_.lines().back().file, ::testing::HasSubstr("PatchClassTest.cpp"));
    made.exchange("Thing", host_add.selector(), quillstead_add.selector());
    EXPECT_NO_THROW(made.finish());

    made.exchange("Thing", host_add.selector(), quillstead_other.selector());
    try {
        made.finish();
        FAIL() << "the last pair has different types";
    } catch (const AssertionFailure& raised) {
        EXPECT_TRUE(std::string_view(raised.what()).starts_with("Something went wrong during method swizzling: "));
    }
    auto object = std::make_shared<HostObject>("MCThing");
    EXPECT_EQ(host_add(object, 1), 20);
}

TEST_F(PatchClassTest, AHostWithoutTheClassIsLeftAlone) {
    PatchClass made("Absent_Quillstead");
    made.add(quillstead_add, [](HostObject&, int n) { return n; });
    made.addAsCategoryOf("Absent");
    made.exchange("Absent", host_add.selector(), quillstead_add.selector());
    EXPECT_NO_THROW(made.finish());
    EXPECT_TRUE(log_.contains("FATAL ERROR: Could not find a class for Absent"));

    // Nor does it keep the failure of a pair before it.
    auto other = patch();
    other.exchange("Thing", host_missing.selector(), quillstead_add.selector());
    other.exchange("Absent", host_add.selector(), quillstead_add.selector());
    EXPECT_NO_THROW(other.finish());
}

}  // namespace
}  // namespace qs
