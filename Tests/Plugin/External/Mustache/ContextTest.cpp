#include "GRMustacheContext.h"

#include "Foundation/Assertion.h"
#include "GRMustacheConfiguration.h"
#include "GRMustacheFilter.h"
#include "GRMustacheKeyAccess.h"
#include "GRMustacheName.h"
#include "GRMustacheTagDelegate.h"
#include "MustacheTest.h"

namespace qs {
namespace {

std::string at(const GRMustacheContext& context, std::string_view expression) {
    GRMustacheValue value;
    const auto found = context.hasValue(value, expression);
    return found ? value.description() : found.error().description;
}

TEST(MustacheContext, LooksFromTheTopDown) {
    const auto base = GRMustacheContext::contextWithObject(Dictionary{{"a", "low"}, {"b", "low"}});
    const GRMustacheContext high =
        base->contextByAddingObject(Dictionary{{"a", "high"}, {"n", Dictionary{{"a", "x"}}}});
    EXPECT_EQ(at(high, "a"), "high");
    EXPECT_EQ(at(high, "b"), "low");
    EXPECT_EQ(at(high, "n.a"), "x");
    EXPECT_EQ(at(high, "n.b"), "");
    EXPECT_EQ(at(*base, "a"), "low");
    EXPECT_EQ(at(high, ".a"), "high");
    EXPECT_EQ(at(high, "a b"), "Invalid expression");
    EXPECT_EQ(at(high, "f(a)"), "Missing filter");
    EXPECT_EQ(at(high, "a(b)"), "Object does not conform to GRMustacheFilter protocol: high");
    const GRMustacheContext same = high.contextByAddingObject(nullptr);
    EXPECT_EQ(at(same, ".a"), "high");
    EXPECT_TRUE(GRMustacheContext::context()->topMustacheObject().isNil());
}

TEST(MustacheContext, LetsANullHideWhatLiesBelow) {
    const auto base = GRMustacheContext::contextWithObject(Dictionary{{"a", "low"}});
    const GRMustacheContext high = base->contextByAddingObject(Dictionary{{"a", Value()}});
    EXPECT_EQ(high.valueForMustacheKey("a").kind(), GRMustacheValue::Kind::Null);
}

TEST(MustacheName, IsOrderedAsTextsAre) {
    using namespace std::string_literals;
    std::vector<std::string> keys{""};
    // Lengths around those of the pieces that are compared at once, with equal beginnings, zeros and high bytes.
    for (std::size_t length = 1; length <= 18; ++length)
        for (const std::string& last : {"\0"s, "a"s, "b"s, "\x7F"s, "\xFF"s})
            keys.push_back(std::string(length - 1, 'a') + last);
    keys.insert(keys.end(), {"linkColor", "linkedInLink", "links", "b\0\0"s, "abcdefg\0"s, "abcdefg", "abcdefgh"});
    for (const std::string& a : keys) {
        for (const std::string& b : keys) {
            ASSERT_EQ(a < GRMustacheName(b), a < b) << a << " and " << b;
            ASSERT_EQ(GRMustacheName(a) < b, a < b) << a << " and " << b;
        }
    }
}

// As many names as keys: then they are found by an index.
TEST(MustacheContext, FindsEachKeyOfALargeDictionary) {
    Dictionary values;
    std::string source, expected;
    const auto add = [&](const std::string& key, bool isKnown) {
        if (isKnown) values.emplace(key, "<" + key + ">");
        source += "{{{" + key + "}}},";
        expected += (isKnown ? "<" + key + ">" : "") + ",";
    };
    for (int i = 0; i < 60; ++i) {
        const std::string number = std::to_string(i);
        add("k" + number, i % 3 != 0);
        add("the-same-start" + number, i % 3 != 1);
        add(number + "-the-same-end", i % 3 != 2);
        // Start, end and length are the same.
        add("eight---" + std::string(static_cast<std::size_t>(i), 'a') + "b" +
                std::string(static_cast<std::size_t>(60 - i), 'a') + "---eight",
            i % 2 == 0);
    }
    EXPECT_EQ(rendered(source, values), expected);
    values["k1"] = Value();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    const auto made = repository->templateFromString(source);
    ASSERT_TRUE(made.has_value());
    (*made)->extendBaseContextWithObject(Dictionary{{"k0", "from below"}, {"k1", "hidden"}});
    EXPECT_TRUE((*made)->renderObject(values)->starts_with("from below,"))
        << "what the dictionary lacks comes from the rest of the stack";
    EXPECT_EQ((*made)->renderObject(values)->find("hidden"), std::string::npos) << "its null counts";
}

TEST(MustacheContext, NeverLetsAProtectedKeyBeOverridden) {
    const auto base = GRMustacheContext::contextWithProtectedObject(Dictionary{{"safe", "yes"}});
    const GRMustacheContext context = base->contextByAddingObject(Dictionary{{"safe", "no"}, {"other", "o"}});
    bool isProtected = false;
    EXPECT_EQ(context.valueForMustacheKey("safe", &isProtected).string(), "yes");
    EXPECT_TRUE(isProtected);
    EXPECT_EQ(context.valueForMustacheKey("other", &isProtected).string(), "o");
    EXPECT_FALSE(isProtected);
    const GRMustacheContext later = context.contextByAddingProtectedObject(Dictionary{{"safe", "later"}});
    EXPECT_EQ(at(later, "safe"), "later");
}

TEST(MustacheContext, KeepsTheContentOfAProtectedValueOutOfTheStack) {
    const auto made = GRMustacheTemplateRepository::templateRepository()->templateFromString(
        "{{#lib}}{{key}}|{{lib.key}}|{{.key}}{{/lib}}{{#own}}{{key}}{{/own}}");
    (*made)->extendBaseContextWithProtectedObject(Dictionary{{"lib", Dictionary{{"key", "inner"}}}});
    EXPECT_EQ(outcome((*made)->renderObject(Dictionary{{"key", "outer"}, {"own", Dictionary{{"key", "mine"}}}})),
              "outer|inner|innermine");
}

TEST(MustacheContext, HidesObjectsByIdentity) {
    const Value hidden = Dictionary{{"a", "hidden"}};
    const Value equal = Dictionary{{"a", "hidden"}};
    const auto base = GRMustacheContext::contextWithObject(Dictionary{{"a", "base"}});
    const GRMustacheContext pushed = base->contextByAddingObject(hidden);
    const GRMustacheContext context = pushed.contextByAddingHiddenObject(hidden);
    EXPECT_EQ(at(context, "a"), "base");
    const GRMustacheContext other = pushed.contextByAddingHiddenObject(equal);
    EXPECT_EQ(at(other, "a"), "hidden");
}

TEST(MustacheContext, ListsItsDelegatesFromTheBottom) {
    class Delegate final : public GRMustacheTagDelegate {};
    const auto first = std::make_shared<Delegate>(), second = std::make_shared<Delegate>();
    const auto base = GRMustacheContext::contextWithTagDelegate(first);
    // An object that is a delegate is one as soon as it is pushed.
    const GRMustacheContext context = base->contextByAddingObject(second);
    EXPECT_THAT(context.tagDelegateStack(), testing::ElementsAre(first.get(), second.get()));
    EXPECT_EQ(context.topMustacheObject().object(), second.get());
    const GRMustacheContext third = context.contextByAddingTagDelegate(*first);
    EXPECT_THAT(third.tagDelegateStack(), testing::ElementsAre(first.get(), second.get(), first.get()));
    EXPECT_EQ(third.topMustacheObject().object(), second.get());
}

class Account final : public GRMustacheKeyTable<Account> {
public:
    static std::span<const GRMustacheKey<Account>> mustacheKeys() {
        static constexpr GRMustacheKey<Account> keys[] = {
            {"name", &Account::name}, {"password", &Account::password}, {"friend", &Account::other}};
        return keys;
    }
    static std::span<const std::string_view> safeMustacheKeys() {
        static constexpr std::string_view keys[] = {"name", "friend"};
        return keys;
    }
    GRMustacheValue name() const { return "Ada"; }
    GRMustacheValue password() const { return "secret"; }
    GRMustacheValue other() const { return std::make_shared<Account>(); }
};

class Point final : public GRMustacheKeyTable<Point> {
public:
    static std::span<const GRMustacheKey<Point>> mustacheKeys() {
        static constexpr GRMustacheKey<Point> keys[] = {{"x", &Point::x}};
        return keys;
    }
    GRMustacheValue x() const { return 1; }
};

TEST(MustacheKeyAccess, GivesSafeKeysOnly) {
    const GRMustacheDictionary data{{"user", std::make_shared<Account>()}, {"point", std::make_shared<Point>()}};
    EXPECT_EQ(rendered("{{user.name}}{{#user}}{{name}}{{password}}{{description}}{{/user}}{{user.password}}", data),
              "AdaAda");
    EXPECT_EQ(rendered("{{user.friend.friend.name}}", data), "Ada");
    EXPECT_EQ(rendered("{{point.x}}{{point.y}}{{point.description}}", data), "1");

    const auto made = GRMustacheTemplateRepository::templateRepository()->templateFromString(
        "{{user.password}}{{#user}}{{password}}{{/user}}");
    (*made)->setBaseContext(GRMustacheContext::contextWithUnsafeKeyAccess());
    EXPECT_EQ(outcome((*made)->renderObject(data)), "secretsecret");
}

TEST(MustacheKeyAccess, KnowsWhatPlainValuesTellAboutThemselves) {
    struct Case {
        GRMustacheValue value;
        const char* key;
        const char* result;
    };
    const Case cases[] = {
        {"Zoë 👋", "length", "6"},
        {"12.7 km", "intValue", "12"},
        {"12.75", "doubleValue", "12.75"},
        {"yes", "boolValue", "1"},
        {"Straße", "uppercaseString", "STRASSE"},
        {"ÄB", "lowercaseString", "äb"},
        {"ada of it", "capitalizedString", "Ada Of It"},
        {"a/b/c.tar.gz", "lastPathComponent", "c.tar.gz"},
        {"a/b/c.tar.gz/", "pathExtension", "gz"},
        {".bashrc", "pathExtension", ""},
        {"/", "lastPathComponent", "/"},
        {"text", "characterAtIndex", ""},
        {2.75, "intValue", "2"},
        {2, "stringValue", "2"},
        {2, "boolValue", "1"},
        {2, "class", ""},
        {Date{978307201}, "timeIntervalSinceReferenceDate", "1"},
        {Date{5}, "timeIntervalSince1970", "5"},
        {Data{"abcd"}, "length", "4"},
        {Array{1, 2, 3}, "count", "3"},
        {Array{1, 2, 3}, "firstObject", "1"},
        {Array{1, 2, 3}, "lastObject", "3"},
        {GRMustacheArray{1, "x"}, "lastObject", "x"},
        {Array{}, "lastObject", ""},
        {Array{Array{1}, Array{2}}, "self", ""},
        // Only what a dictionary holds is found in it.
        {Dictionary{{"a", 1}}, "count", ""},
        {Dictionary{{"count", "own"}}, "count", "own"},
        {GRMustacheValue::null(), "description", ""},
        {{}, "a", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(GRMustacheKeyAccess::valueForMustacheKey(c.key, c.value, false).description(), c.result) << c.key;
}

TEST(MustacheValue, OutlivesWhatItCameFromOnceRetained) {
    GRMustacheValue text, list, item;
    {
        const Value data = Dictionary{{"text", std::string(100, 'x')}, {"list", Array{std::string(100, 'y')}}};
        const auto borrowed = GRMustacheValue::borrowing(data);
        text = borrowed.objectForKeyedSubscript("text").retained();
        list = GRMustacheValue(GRMustacheArray{borrowed.objectForKeyedSubscript("list").itemAt(0)}).retained();
        // An item keeps the list that it came from.
        item = GRMustacheValue(data).objectForKeyedSubscript("list").itemAt(0);
    }
    EXPECT_EQ(text.string(), std::string(100, 'x'));
    EXPECT_EQ(list.itemAt(0).string(), std::string(100, 'y'));
    EXPECT_EQ(item.string(), std::string(100, 'y'));
}

TEST(MustacheConfiguration, RefusesWhatMakesNoSense) {
    GRMustacheConfiguration configuration;
    const auto refused = [](auto change) -> std::string {
        try {
            change();
        } catch (const AssertionFailure& fault) {
            return fault.what();
        }
        return "taken";
    };
    EXPECT_EQ(refused([&] { configuration.setTagStartDelimiter(""); }), "Invalid tagStartDelimiter:");
    EXPECT_EQ(refused([&] { configuration.setTagEndDelimiter(""); }), "Invalid tagEndDelimiter:");
    EXPECT_EQ(refused([&] { configuration.setBaseContext(nullptr); }), "Invalid baseContext:nil");

    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary({{"a", "[[x]]"}});
    repository->configuration().setTagStartDelimiter("[[");
    repository->configuration().setTagEndDelimiter("]]");
    repository->configuration().setContentType(GRMustacheContentType::Text);
    const auto made = repository->templateNamed("a");
    EXPECT_EQ(outcome((*made)->renderObject(Dictionary{{"x", "<"}})), "<");
    EXPECT_EQ(refused([&] { (*made)->setBaseContext(nullptr); }), "Invalid baseContext:nil");

    constexpr const char* kLocked = "<GRMustacheConfiguration> was mutated after template compilation";
    GRMustacheConfiguration& locked = repository->configuration();
    EXPECT_TRUE(locked.isLocked());
    EXPECT_EQ(refused([&] { locked.setContentType(GRMustacheContentType::HTML); }), kLocked);
    EXPECT_EQ(refused([&] { locked.setTagStartDelimiter("{{"); }), kLocked);
    EXPECT_EQ(refused([&] { locked.setTagEndDelimiter("}}"); }), kLocked);
    EXPECT_EQ(refused([&] { locked.setBaseContext(GRMustacheContext::context()); }), kLocked);
    EXPECT_EQ(refused([&] { repository->setConfiguration(configuration); }),
              "<GRMustacheTemplateRepository> was mutated after template compilation");
    // A copy may be changed again.
    GRMustacheConfiguration copy = locked;
    copy.setContentType(GRMustacheContentType::HTML);
    EXPECT_EQ(copy.tagStartDelimiter(), "[[");
}

}  // namespace
}  // namespace qs
