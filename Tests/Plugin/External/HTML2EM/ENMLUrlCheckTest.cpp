#include "HTML2EM/ENMLUrlCheck.h"

#include <gmock/gmock.h>
#include <unicode/regex.h>

#include "ENMLSupport.h"
#include "HTML2EM/ENMLWriter.h"
#include "Support/LogCapture.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ENMLUrlCheck, TellsGoodAddressesFromBad) {
    struct Case {
        const char* url;
        bool isValid;
    };
    for (const Case& c : {Case{"http://h", true},
                          {"https://u:p@h:8080/a/b/?q=1&r#f", true},
                          {"ftp://h/a%20b", true},
                          {"http://h/%C3%A4/", true},
                          {"http://h/%FF", true},
                          {"http://[::1]:80/", true},
                          {"HTTP://H/", true},
                          {"evernote:///view/1/s1/x/x/", true},
                          {"message://%3Ca@b%3E", true},
                          {"file:///etc/x", true},
                          {"tel:+49-30-1", true},
                          {"tel:1;x=y?z", true},
                          {"mailto:a@b", true},
                          {"MailTo:a@b?subject=x%20y&body=z", true},
                          {"mailto:", true},
                          // No scheme, or one that runs.
                          {"", false},
                          {"page.html", false},
                          {"//h/a", false},
                          {"#top", false},
                          {"javascript:x", false},
                          {"JavaScript://h/%0aalert(1)", false},
                          {"vbscript:x", false},
                          {"myscripting://h/", false},
                          // Opaque, but for mail and telephones.
                          {"data:image/png;base64,AA==", false},
                          {"cid:a@b", false},
                          {"TEL:1", false},
                          {"about:blank", false},
                          {"x-apple-data-detectors://0", false},
                          {"x-apple-data-detectors:x", false},
                          // Read differently by different parsers.
                          {"http://h:080/", false},
                          {"http://h:/", false},
                          {"http://h:99999/", false},
                          {"http://u@v@h/", false},
                          {"http://a\\@b/", false},
                          {"http://h/ x", false},
                          {"http://h/%", false},
                          {" http://h/", false},
                          {"http://h\t/", false},
                          {"http://h/#a#b", false},
                          {"http://b\xC3\xBC"
                           "cher/",
                           false}})
        EXPECT_EQ(ENMLWriter::validateURLComponents(Url::parse(c.url)), c.isValid) << c.url;
}

TEST(ENMLUrlCheck, SaysWhereTheParsersDiffer) {
    const LogCapture log;
    EXPECT_FALSE(ENMLWriter::validateURLComponents(Url::parse("http://u@h:080/p")));
    EXPECT_FALSE(ENMLWriter::validateURLComponents(Url::parse("cid:part@mail")));
    EXPECT_THAT(log.messages(LogLevel::Warning), ElementsAre("Authority 'u@h:080' does not match authority 'u@h:80'",
                                                             "Path 'part@mail' does not match path ''"));
    EXPECT_THAT(checkURLComponents(Url::parse("javascript:x")).mismatches, IsEmpty());
}

// The pattern itself, by another hand.
std::vector<std::string> groupsByPattern(const std::string& url) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString pattern(R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)");
    icu::RegexMatcher matcher(pattern, 0, status);
    const icu::UnicodeString input = icu::UnicodeString::fromUTF8(url);
    matcher.reset(input);
    if (!matcher.find()) return {"no match"};
    std::vector<std::string> groups;
    for (const int group : {2, 4, 5, 7, 9}) {
        std::string text;
        matcher.group(group, status).toUTF8String(text);
        groups.push_back(text);
    }
    return groups;
}

TEST(ENMLUrlCheck, CutsAsThePatternDoes) {
    for (const char* url : {"",
                            "a",
                            "a:b",
                            ":b",
                            "a:",
                            "://h",
                            "http://h",
                            "http://h/p?q#f",
                            "http://h?q/#f?x",
                            "//h/p",
                            "/p:x",
                            "?q",
                            "#f",
                            "#f#g",
                            "a?b?c",
                            "a:b:c",
                            "a/b:c",
                            "a?b:c",
                            "http:/p",
                            "http:///p",
                            "mailto:a@b?s",
                            "x:?q",
                            "x:#f",
                            "x://#f"}) {
        const URLGroups groups = groupsOfURL(url);
        EXPECT_THAT(groupsByPattern(url),
                    ElementsAre(groups.scheme, groups.authority, groups.path, groups.query, groups.fragment))
            << url;
    }
}

}  // namespace
}  // namespace qs
