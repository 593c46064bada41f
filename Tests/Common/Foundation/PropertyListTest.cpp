#include "Foundation/PropertyList.h"

#include <gmock/gmock.h>
#include <plist/plist.h>

#include <limits>

namespace qs {
namespace {

using ::testing::HasSubstr;

std::string wrapped(std::string_view content) { return "<plist version=\"1.0\">" + std::string(content) + "</plist>"; }

TEST(PropertyList, EverythingWrittenIsReadAgainAsItWas) {
    const double least = std::numeric_limits<double>::denorm_min(), infinite = std::numeric_limits<double>::infinity();
    std::string controls;
    for (char c = 1; c < 127; ++c)
        controls += c;
    const Value values[] = {
        true,
        false,
        0,
        -5,
        std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max(),
        0.1,
        1.0,
        -1e300,
        least,
        infinite,
        -infinite,
        "",
        " with spaces \n and lines\r\n",
        "<&>\"' ]]> &amp; <!-- -->",
        "ä 日本 😀",
        std::move(controls),
        Date{1'795'384'800},
        Date{-1},
        Date{-2'208'988'800},   // 1900
        Date{64'092'211'200},   // 4001
        Date{-62'135'596'800},  // the first day of year 1
        Data{},
        Data{std::string("\0\1\2\xff", 4)},
        Data{"12345"},
        Array{},
        Dictionary{},
        Array{Array{Array{}}, Dictionary{{"", Array{1, 2.5, "x"}}, {"a <b> & c", Dictionary{{"d", true}}}}},
    };
    for (const Value& value : values) {
        const std::string text = xmlPropertyList(value);
        const auto read = parsePropertyList(text);
        ASSERT_TRUE(read) << read.error().description << "\n" << text;
        EXPECT_EQ(*read, value) << text;
    }
}

TEST(PropertyList, ReplacesWhatNoPropertyListCanHold) {
    EXPECT_EQ(*parsePropertyList(xmlPropertyList(Dictionary{{"gone", Value()}, {"list", Array{Value(), 1}}})),
              Value(Dictionary{{"list", Array{1}}}));
    EXPECT_EQ(*parsePropertyList(xmlPropertyList(std::string("a\0b", 3))), Value("a\uFFFDb"));
    EXPECT_EQ(*parsePropertyList(xmlPropertyList("a\xC3(\xED\xA0\x80\xF5")), Value("a\uFFFD(\uFFFD\uFFFD\uFFFD\uFFFD"));
    EXPECT_EQ(*parsePropertyList(xmlPropertyList(Date{10.75})), Value(Date{10}));
    EXPECT_EQ(*parsePropertyList(xmlPropertyList(Date{-10.25})), Value(Date{-11}));
    for (const double extreme : {1e300, -1e300, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(parsePropertyList(xmlPropertyList(Date{extreme}))) << extreme;
}

TEST(PropertyList, ReadsWhatPeopleAndOtherProgramsWrite) {
    const struct {
        std::string text;
        Value value;
    } cases[] = {
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!DOCTYPE plist SYSTEM \"x.dtd\">\n" + wrapped("\n<true />\n"), true},
        {wrapped("<!-- a <dict> in a comment --><string>a<!-- b -->c</string>"), "ac"},
        {wrapped("<string><![CDATA[<b>&amp;]]></string>"), "<b>&amp;"},
        {wrapped("<string>&#65;&#x1F600;&quot;</string>"), "A😀\""},
        {wrapped("<integer> 0x1F </integer>"), 31},
        {wrapped("<dict><key>a</key><string>1</string><key>a</key><string>2</string></dict>"), Dictionary{{"a", "2"}}},
        {wrapped("<data>\n  aGVs\n  bG8=\n</data>"), Data{"hello"}},
    };
    for (const auto& c : cases) {
        const auto read = parsePropertyList(c.text);
        ASSERT_TRUE(read) << c.text << read.error().description;
        EXPECT_EQ(*read, c.value) << c.text;
    }
}

TEST(PropertyList, SaysWhatIsWrongWithDamagedText) {
    const struct {
        std::string text;
        const char* problem;
    } cases[] = {
        {"", "holds no value"},
        {"hello", "holds no value"},
        {wrapped(""), "holds no value"},
        {"<plist>\n<dict>\n<key>a</key>\n<string>b</string>\n", "<dict> is not closed"},
        {"<plist>\n<array>\n</dict>\n</plist>", "line 3: </dict> closes nothing"},
        {wrapped("<integer>abc</integer>"), "“abc” is no integer"},
        {wrapped("<integer>99999999999999999999</integer>"), "is no integer"},
        {wrapped("<real></real>"), "“” is no real"},
        {wrapped("<date>2026-02-31T00:00:00Z</date>"), "is no date"},
        {wrapped("<date>yesterday</date>"), "is no date"},
        {wrapped("<script>x</script>"), "<script> is no element"},
        {wrapped("<dict><string>value without key</string></dict>"), "not well formed"},
        {wrapped("<string>&nosuch;</string>"), "not well formed"},
        {wrapped(std::string_view("<dict><key>a\0b</key><true/></dict>", 34)), "zero character"},
        {"<plist><true", "cut off"},
        {"<plist><!-- ", "“-->” is missing"},
    };
    for (const auto& c : cases) {
        const auto read = parsePropertyList(c.text);
        ASSERT_FALSE(read) << c.text;
        EXPECT_THAT(read.error().description, HasSubstr(c.problem)) << c.text;
    }
}

TEST(PropertyList, RefusesInputThatWouldExhaustTheMachine) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i)
        deep += "<array>";
    EXPECT_FALSE(parsePropertyList(wrapped(deep)));
    EXPECT_FALSE(parsePropertyList(std::string(40u << 20, ' ')));
}

std::string binary(const char* xml) {
    plist_t node = nullptr;
    plist_from_xml(xml, static_cast<std::uint32_t>(std::string_view(xml).size()), &node);
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    std::string result(bytes, length);
    plist_free(node);
    plist_to_bin_free(bytes);
    return result;
}

// One byte offsets and references; each object is given as its bytes.
std::string binaryOf(const std::vector<std::string>& objects) {
    std::string file = "bplist00", table;
    for (const std::string& object : objects) {
        table += static_cast<char>(file.size());
        file += object;
    }
    const std::size_t start = file.size();
    file += table + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + static_cast<char>(objects.size());
    return file + std::string(8, '\0') + std::string(7, '\0') + static_cast<char>(start);
}

TEST(PropertyList, ReadsTheBinaryForm) {
    const char* xml = "<plist version=\"1.0\"><dict><key>list</key><array><integer>-5</integer><real>2.5</real><true/>"
                      "<string>a longer string with ä</string><data>aGVsbG8=</data>"
                      "<date>2026-11-22T10:00:00Z</date></array></dict></plist>";
    const auto fromBinary = parsePropertyList(binary(xml)), fromXml = parsePropertyList(xml);
    ASSERT_TRUE(fromBinary) << fromBinary.error().description;
    EXPECT_EQ(*fromBinary, *fromXml);
}

TEST(PropertyList, RefusesBinaryBombsAndLoops) {
    // Twelve levels, each naming the next one ten times: 10^12 objects out of 150 bytes.
    std::vector<std::string> bomb;
    for (char level = 0; level < 12; ++level)
        bomb.push_back("\xAA" + std::string(10, static_cast<char>(level + 1)));
    bomb.emplace_back("\x09");
    const auto refused = parsePropertyList(binaryOf(bomb));
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().description, HasSubstr("too large"));

    EXPECT_FALSE(parsePropertyList(binaryOf({std::string("\xA1\0", 2)})));        // an array in itself
    EXPECT_FALSE(parsePropertyList(binaryOf({std::string("\xA1\x7F", 2)})));      // no such object
    EXPECT_FALSE(parsePropertyList(binaryOf({std::string("\x4F\x13\x7F", 3)})));  // data beyond the end
    EXPECT_FALSE(parsePropertyList("bplist00"));
}

// The library stops the program on this one.
TEST(PropertyList, RefusesBinaryKeysWithAZeroCharacter) {
    for (const char* key : {"\x53"
                            "a\0b",
                            "\x62\0a\0\0"}) {
        const std::string object(key, key[0] == '\x53' ? 4 : 5);
        const auto read = parsePropertyList(binaryOf({"\xD1\1\2", object, "\x09"}));
        ASSERT_FALSE(read);
        EXPECT_THAT(read.error().description, HasSubstr("zero character"));
    }
}

TEST(PropertyList, SurvivesEveryCutAndEveryFlippedByteOfTheBinaryForm) {
    const std::string whole = binary("<plist version=\"1.0\"><dict><key>a</key><array><integer>300</integer>"
                                     "<string>text</string><data>aGVsbG8=</data></array></dict></plist>");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(parsePropertyList(whole.substr(0, length))) << length;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char flip : {'\x01', '\x10', '\x80', '\xff'}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            (void)parsePropertyList(damaged);  // a value or an error, never a crash
        }
    }
}

}  // namespace
}  // namespace qs
