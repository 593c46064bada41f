#include "Text/Url.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

std::string shown(std::optional<std::string_view> piece) { return piece ? std::string(*piece) : "-"; }

// All pieces in a row, "-" for what is not there.
std::string pieces(const Url& url) {
    return shown(url.scheme()) + ' ' + shown(url.user()) + ' ' + shown(url.password()) + ' ' + shown(url.host()) + ' ' +
           (url.port() ? std::to_string(*url.port()) : "-") + ' ' + shown(url.encodedPath()) + ' ' +
           shown(url.query()) + ' ' + shown(url.fragment());
}

TEST(Url, IsTakenApart) {
    struct Case {
        const char *text, *pieces;
    };
    for (const Case& c :
         {Case{"http://example.com", "http - - example.com -  - -"},
          Case{"HTTPS://user:pa:ss@Example.com:8080/a/b%20c?q=1?2&r=[x]#f/?",
               "HTTPS user pa:ss Example.com 8080 /a/b%20c q=1?2&r=[x] f/?"},
          Case{"ftp://@h:/?#", "ftp  - h - /  "}, Case{"http://u:@h", "http u  h -  - -"},
          Case{"http://[2001:db8::1]:80/x", "http - - [2001:db8::1] 80 /x - -"},
          Case{"http://[::1]", "http - - [::1] -  - -"}, Case{"file:///etc/a", "file - -  - /etc/a - -"},
          Case{"http:///path", "http - -  - /path - -"}, Case{"x:/only/path", "x - - - - /only/path - -"},
          Case{"mailto:a@b?subject=x", "mailto - - - - - subject=x -"}, Case{"tel:+49-1", "tel - - - - - - -"},
          Case{"data:,", "data - - - - - - -"}, Case{"relative/a:b", "- - - - - relative/a:b - -"},
          Case{"//host/a", "- - - host - /a - -"}, Case{"#top", "- - - - -  - top"}}) {
        const auto url = Url::parse(c.text);
        ASSERT_TRUE(url) << c.text;
        EXPECT_EQ(pieces(*url), c.pieces) << c.text;
        EXPECT_EQ(url->absoluteString(), c.text);
        EXPECT_EQ(url->isOpaque(), url->scheme() && !url->encodedPath()) << c.text;
    }
}

TEST(Url, RefusesWhatIsNone) {
    for (const char* text : {"",
                             " ",
                             "http://a b",
                             " http://a",
                             "http://a\n",
                             "http://ex\xC3\xA4mple",
                             "http://a/%",
                             "http://a/%2",
                             "http://a/%zz",
                             "http://a/#x#y",
                             "http://a/<b>",
                             "http://a/|",
                             "http://a\\b",
                             "http://a^",
                             "http://a/{x}",
                             "http://a/`",
                             "http://a/\"",
                             "1http://a",
                             ":a",
                             "ht tp://a",
                             "http://u@v@h/",
                             "http://h:port/",
                             "http://h:65536/",
                             "http://h:-1/",
                             "http://h:+1/",
                             "http://[::1/",
                             "http://[g::1]/",
                             "http://a[b]/",
                             "http://::1/",
                             "mailto:a b"})
        EXPECT_FALSE(Url::parse(text)) << text;
    EXPECT_FALSE(Url::parse(std::string_view("http://a/\0b", 11)));
}

TEST(Url, HasAPathLikeAFile) {
    struct Case {
        const char *text, *path, *specifier;
    };
    for (const Case& c :
         {Case{"http://h", "", "//h"}, Case{"http://h/", "/", "//h/"}, Case{"http://h/a/?q", "/a", "//h/a/"},
          Case{"http://h/%C3%A4%2F#f", "/\xC3\xA4", "//h/%C3%A4%2F"}, Case{"a%20b", "a b", "a%20b"},
          Case{"http://h/%C3", "none", "//h/%C3"}, Case{"mailto:a@b?c", "none", "a@b"}}) {
        const auto url = Url::parse(c.text);
        ASSERT_TRUE(url) << c.text;
        EXPECT_EQ(url->path().value_or("none"), c.path) << c.text;
        EXPECT_EQ(url->resourceSpecifier(), c.specifier) << c.text;
    }
}

TEST(Url, StaysWholeWhenCopiedAndMoved) {
    auto url = Url::parse("a://h");  // short enough to live inside the object
    ASSERT_TRUE(url);
    const Url copy = *url;
    const Url moved = std::move(*url);
    EXPECT_EQ(pieces(copy), pieces(moved));
    EXPECT_EQ(copy.host(), "h");
}

}  // namespace
}  // namespace qs
