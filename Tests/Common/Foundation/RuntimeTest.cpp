#include "Foundation/Runtime.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "Foundation/Assertion.h"
#include "Support/LogCapture.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Operation<std::string()> title{"title"};
const Operation<std::string()> otherTitle{"quillstead_title"};
const Operation<int(int a, int b)> sum{"sumOf:and:"};
const Operation<std::string()> shared{"sharedName"};
const Operation<std::string()> otherShared{"quillstead_sharedName"};

auto answering(std::string text) {
    return [text](auto&) { return text; };
}

class RuntimeTest : public testing::Test {
protected:
    Class& define(std::string_view name, Class* superclass = nullptr) { return registry_.define(name, superclass); }

    ClassRegistry registry_;
    LogCapture log_;
};

TEST_F(RuntimeTest, FindsAClassUnderItsNameOrWithAPrefix) {
    Class& plain = define("Editor");
    define("MFEditor");
    Class& mf = define("MFStore");
    define("MCStore");
    Class& mc = define("MCMessage");
    struct Case {
        const char* why;
        const char* asked;
        Class* found;
    };
    for (const Case& c : {Case{"the name itself comes first", "Editor", &plain}, Case{"then MF", "Store", &mf},
                          Case{"then MC", "Message", &mc}, Case{"a prefixed name is a name", "MCMessage", &mc}}) {
        EXPECT_EQ(QSClassFromString(c.asked), c.found) << c.why;
        EXPECT_EQ(QSClassFromString(c.asked), c.found) << c.why << ", from the cache";
    }
    EXPECT_EQ(NSClassFromString("Store"), nullptr) << "the plain look-up knows no prefixes";
    EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(RuntimeTest, AFoundClassIsKeptUnderTheNameAskedFor) {
    Class& prefixed = define("MCMessage");
    EXPECT_EQ(QSClassFromString("Message"), &prefixed);
    define("Message");
    EXPECT_EQ(QSClassFromString("Message"), &prefixed);
}

TEST_F(RuntimeTest, AMissingClassIsLookedForAndLoggedEachTime) {
    EXPECT_EQ(QSClassFromString("Ghost"), nullptr);
    EXPECT_EQ(QSClassFromString("Ghost"), nullptr);
    EXPECT_THAT(log_.messages(LogLevel::Error), ElementsAre("FATAL ERROR: Could not find a class for Ghost",
                                                            "FATAL ERROR: Could not find a class for Ghost"));
    Class& late = define("MFGhost");
    EXPECT_EQ(QSClassFromString("Ghost"), &late);
}

TEST(RuntimeCache, ANewRegistryStartsFromNothing) {
    {
        ClassRegistry first;
        first.define("Editor");
        ASSERT_NE(QSClassFromString("Editor"), nullptr);
    }
    ClassRegistry second;
    EXPECT_EQ(QSClassFromString("Editor"), nullptr);
    EXPECT_THROW(ClassRegistry(), AssertionFailure) << "one at a time";
    EXPECT_EQ(&ClassRegistry::current(), &second);
}

TEST_F(RuntimeTest, ACategoryAddsWhatIsMissingAndLeavesTheRest) {
    Class& host = define("Editor");
    host.add(title, answering("host"));
    Class& patch = define("Editor_Quillstead");
    patch.add(title, answering("patch"));
    patch.add(otherTitle, answering("patch"));
    patch.addClassMethod(shared, answering("class method of the patch"));

    QSAddClassAsCategory(&patch, &host);

    HostObject editor("Editor");
    EXPECT_EQ(title(editor), "host");
    EXPECT_EQ(otherTitle(editor), "patch");
    EXPECT_EQ(shared.onClass(&host), "class method of the patch");
    EXPECT_THAT(log_.messages(LogLevel::Error), ElementsAre("FATAL ERROR: Could not add method title to Editor"));
    log_.clear();
    QSAddClassAsCategory(&patch, &host);
    EXPECT_THAT(log_.messages(), ElementsAre("FATAL ERROR: Could not add method sharedName to Editor",
                                             "FATAL ERROR: Could not add method title to Editor",
                                             "FATAL ERROR: Could not add method quillstead_title to Editor"))
        << "class methods come first";
}

TEST_F(RuntimeTest, ACategoryOverridesWhatTheSuperclassHas) {
    Class& base = define("Base");
    base.add(title, answering("base"));
    Class& derived = define("Derived", &base);
    Class& patch = define("Patch");
    patch.add(title, answering("patch"));
    QSAddClassAsCategory(&patch, &derived);
    HostObject object("Derived"), baseObject("Base");
    EXPECT_EQ(title(object), "patch");
    EXPECT_EQ(title(baseObject), "base");
}

TEST_F(RuntimeTest, MissingTargetsAndReceiversAreSkipped) {
    Class& patch = define("Patch");
    QSAddClassAsCategory(&patch, QSClassFromString("Ghost"));
    QSAddClassAsCategory(nullptr, &patch);
    HostObject* nobody = nullptr;
    EXPECT_EQ(sum(nobody, 1, 2), 0);
    EXPECT_EQ(shared.onClass(nullptr), "");
}

TEST_F(RuntimeTest, AnExchangeMakesTheTwoNamesRunEachOthersCode) {
    Class& host = define("Editor");
    host.add(title, answering("host"));
    host.add(otherTitle, [](HostObject& self) { return "around " + otherTitle(self); });
    host.addClassMethod(shared, answering("host"));
    host.addClassMethod(otherShared, [](Class& cls) { return "around " + otherShared.onClass(&cls); });
    HostObject editor("Editor");

    ASSERT_TRUE(host.jr_swizzleMethod(title.selector(), otherTitle.selector()));
    EXPECT_EQ(title(editor), "around host");
    EXPECT_EQ(shared.onClass(&host), "host") << "class methods are apart";
    ASSERT_TRUE(host.jr_swizzleClassMethod(shared.selector(), otherShared.selector()));
    EXPECT_EQ(shared.onClass(&host), "around host");
    ASSERT_TRUE(host.jr_swizzleMethod(title.selector(), otherTitle.selector()));
    EXPECT_EQ(title(editor), "host") << "exchanged twice is as before";
}

TEST_F(RuntimeTest, ExchangingAnInheritedMethodLeavesTheSuperclassAlone) {
    Class& base = define("Base");
    base.add(title, answering("base"));
    Class& derived = define("Derived", &base);
    Class& sibling = define("Sibling", &base);
    define("Grandchild", &derived);
    derived.add(otherTitle, [](HostObject& self) { return "around " + otherTitle(self); });

    ASSERT_TRUE(derived.jr_swizzleMethod(title.selector(), otherTitle.selector()));

    struct Case {
        const char* name;
        const char* answer;
    };
    for (const Case& c : {Case{"Derived", "around base"}, Case{"Grandchild", "around base"}, Case{"Base", "base"},
                          Case{"Sibling", "base"}}) {
        HostObject object(c.name);
        EXPECT_EQ(title(object), c.answer) << c.name;
    }
    EXPECT_EQ(sibling.find(MethodKind::Instance, otherTitle.selector()), nullptr);
}

TEST_F(RuntimeTest, AnExchangeThatCannotBeDoneSaysWhyAndChangesNothing) {
    Class& host = define("Editor");
    host.add(title, answering("host"));
    host.add(sum, [](HostObject&, int a, int b) { return a + b; });
    host.addClassMethod(shared, answering("host"));
    struct Case {
        const char* why;
        Selector a, b;
        RuntimeError error;
    };
    const Selector unknown("nothingOfThatName");
    for (const Case& c : {Case{"other type", title.selector(), sum.selector(), RuntimeError::DifferentTypes},
                          Case{"unknown", title.selector(), unknown, RuntimeError::UnknownMethod},
                          Case{"unknown the other way", unknown, title.selector(), RuntimeError::UnknownMethod},
                          Case{"a class method is no instance method", title.selector(), shared.selector(),
                               RuntimeError::UnknownMethod}}) {
        auto result = host.jr_swizzleMethod(c.a, c.b);
        ASSERT_FALSE(result) << c.why;
        EXPECT_EQ(result.error().domain, kRuntimeErrorDomain) << c.why;
        EXPECT_EQ(result.error().code, static_cast<int>(c.error)) << c.why;
        EXPECT_FALSE(result.error().description.empty()) << c.why;
        HostObject editor("Editor");
        EXPECT_EQ(title(editor), "host") << c.why;
        EXPECT_EQ(sum(editor, 2, 3), 5) << c.why;
    }
}

TEST_F(RuntimeTest, ChangesOfASuperclassReachExistingSubclasses) {
    Class& base = define("Base");
    Class& middle = define("Middle", &base);
    define("Derived", &middle);
    HostObject object("Derived");
    EXPECT_FALSE(title.isAnsweredBy(object));

    base.add(title, answering("base"));
    EXPECT_EQ(title(object), "base");
    middle.add(title, answering("middle"));
    EXPECT_EQ(title(object), "middle");
    base.add(otherTitle, answering("other"));
    ASSERT_TRUE(base.jr_swizzleMethod(title.selector(), otherTitle.selector()));
    EXPECT_EQ(title(object), "middle");
    EXPECT_EQ(otherTitle(object), "base");
}

TEST_F(RuntimeTest, AnotherSuperclassBringsItsMethodsAndTakesTheOldOnes) {
    Class& before = define("Before");
    before.add(title, answering("before"));
    before.add(sum, [](HostObject&, int, int) { return 1; });
    Class& after = define("After");
    after.add(title, answering("after"));
    after.addClassMethod(shared, answering("after"));
    Class& moved = define("Moved", &before);
    moved.add(otherTitle, answering("own"));
    Class& derived = define("Derived", &moved);
    HostObject object("Derived");
    ASSERT_EQ(title(object), "before");

    moved.setSuperclass(&after);
    EXPECT_EQ(title(object), "after");
    EXPECT_EQ(otherTitle(object), "own");
    EXPECT_EQ(shared.onClass(&derived), "after");
    EXPECT_FALSE(sum.isAnsweredBy(object));
    EXPECT_TRUE(object.isKindOf("After"));
    EXPECT_FALSE(object.isKindOf("Before"));
    before.add(shared, answering("no longer ours"));
    EXPECT_FALSE(shared.isAnsweredBy(object));
    EXPECT_THROW(after.setSuperclass(&derived), AssertionFailure) << "a loop";
    EXPECT_EQ(after.superclass(), nullptr);
}

TEST_F(RuntimeTest, ACallThatNoCodeFitsIsAnAssertionFailure) {
    define("Editor").add(title, answering("host"));
    HostObject editor("Editor");
    const Operation<int()> titleAsNumber{"title"};
    EXPECT_THROW(otherTitle(editor), AssertionFailure);
    EXPECT_THROW(titleAsNumber(editor), AssertionFailure);
    EXPECT_THROW(HostObject("Ghost"), AssertionFailure);
    EXPECT_THAT(log_.messages(),
                ElementsAre("The class Editor has no method quillstead_title",
                            "The method title of Editor has another type than its call", "There is no class Ghost"));
}

TEST_F(RuntimeTest, AssociatedObjectsGoWithTheirObject) {
    define("Editor");
    auto editor = std::make_shared<HostObject>("Editor");
    auto first = std::make_shared<int>(1), second = std::make_shared<int>(2);
    editor->setAssociatedObject("first", first);
    editor->setAssociatedObject("second", second);
    EXPECT_EQ(editor->associated<std::shared_ptr<int>>("first"), first);
    EXPECT_EQ(editor->associated<int>("first", 7), 7) << "of another type";
    editor->setAssociatedObject("first", {});
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_FALSE(editor->associatedObject("first").has_value());
    editor.reset();
    EXPECT_EQ(second.use_count(), 1);
}

TEST_F(RuntimeTest, AssociatedObjectsMayUseTheirObjectWhileTheyGo) {
    struct Farewell {
        explicit Farewell(HostObject& o) : object(o) {}
        ~Farewell() { object.setAssociatedObject("last", std::make_shared<int>(object.associated<int>("number"))); }
        HostObject& object;
    };
    define("Editor");
    HostObject editor("Editor");
    editor.setAssociatedObject("number", 3);
    editor.setAssociatedObject("farewell", std::make_shared<Farewell>(editor));
    editor.setAssociatedObject("farewell", 0);
    EXPECT_EQ(*editor.associated<std::shared_ptr<int>>("last"), 3);
    editor.setAssociatedObject("farewell", std::make_shared<Farewell>(editor));
}

TEST_F(RuntimeTest, CallsOnOtherThreadsGoOnWhileMethodsChange) {
    Class& base = define("Base");
    base.add(title, answering("host"));
    base.add(otherTitle, answering("replacement"));
    Class& derived = define("Derived", &base);
    std::atomic<bool> stop = false;
    std::atomic<int> strange = 0, calls = 0;
    std::vector<std::jthread> callers;
    for (int i = 0; i < 3; ++i)
        callers.emplace_back([&] {
            HostObject object("Derived");
            do {
                const std::string answer = title(object);
                if (answer != "host" && answer != "replacement") ++strange;
                if (QSClassFromString("Derived") != &derived) ++strange;
                ++calls;
            } while (!stop);
        });
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE((i % 2 ? base : derived).jr_swizzleMethod(title.selector(), otherTitle.selector()));
        base.addMethod(MethodKind::Instance, Selector("added:" + std::to_string(i)),
                       base.method(MethodKind::Instance, title.selector()));
    }
    stop = true;
    callers.clear();
    EXPECT_EQ(strange, 0);
    EXPECT_GE(calls, 3);
}

}  // namespace
}  // namespace qs
