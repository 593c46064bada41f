#include "Tracking/UserAgent.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(UserAgent, TellsSystemAndApplication) {
    struct Case {
        const char* header;
        const char* text;
    };
    for (const Case& c : {
             Case{"Mozilla/5.0 (Macintosh; Intel Mac OS X 10_12_6) AppleWebKit/603.3.8 (KHTML, like Gecko)",
                  "macOS 10.12 | Apple Mail"},
             Case{"Mozilla/5.0 (iPhone; CPU iPhone OS 10_3_1 like Mac OS X) AppleWebKit/603.1.30 (KHTML, like Gecko) "
                  "Mobile/14E304",
                  "iOS 10.3 | Apple Mail"},
             Case{"Mozilla/5.0 (iPad; CPU OS 9_3 like Mac OS X) AppleWebKit/601.1.46 (KHTML, like Gecko) Version/9.0 "
                  "Mobile/13E233 Safari/601.1",
                  "iOS 9.3 | Mobile Safari 9"},
             Case{"Mozilla/5.0 (Macintosh; Intel Mac OS X 10_12_6) AppleWebKit/603.3.8 (KHTML, like Gecko) "
                  "Version/10.1.2 Safari/603.3.8",
                  "macOS 10.12 | Safari 10"},
             Case{"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
                  "Chrome/60.0.3112.90 Safari/537.36",
                  "Windows 10 | Chrome 60"},
             Case{"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
                  "Chrome/51.0.2704.79 Safari/537.36 Edge/14.14393",
                  "Windows 10 | Edge 14"},
             Case{"Mozilla/5.0 (Windows NT 6.3; Trident/7.0; rv:11.0) like Gecko", "Windows 8.1 | IE 11"},
             Case{"Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 5.1; Trident/4.0)", "Windows XP | IE 8"},
             Case{"Mozilla/4.0 (compatible; MSIE 7.0; Windows NT 6.1; Trident/7.0; Microsoft Outlook 15.0.4420; "
                  "ms-office; MSOffice 15)",
                  "Windows 7 | Outlook 15"},
             Case{"Outlook-Express/7.0 (MSIE 7.0; Windows NT 6.1; WOW64; Trident/4.0)",
                  "Windows 7 | Windows Live Mail"},
             Case{"Mozilla/5.0 (X11; Linux x86_64; rv:52.0) Gecko/20100101 Thunderbird/52.2.1",
                  "Linux | Thunderbird 52"},
             Case{"Mozilla/5.0 (X11; Ubuntu; Linux x86_64; rv:54.0) Gecko/20100101 Firefox/54.0", "Linux | Firefox 54"},
             Case{"Mozilla/5.0 (Linux; Android 7.1; Pixel) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/59.0.3071.125 "
                  "Mobile Safari/537.36",
                  "Android 7.1 | Chrome 59"},
             Case{"Mozilla/5.0 (Linux; U; Android 4.0.3; de-de) AppleWebKit/534.30 (KHTML, like Gecko) Version/4.0 "
                  "Mobile Safari/534.30",
                  "Android 4.0 | Android Browser"},
             Case{"Opera/9.80 (Android; Opera Mini/7.5/35.5706; U; en) Presto/2.8.119 Version/11.10",
                  "Android | Opera Mini"},
             Case{"Opera/9.80 (Android 2.2; Linux; Opera Mobi/ADR-1; U; en) Presto/2.7", "Android 2.2 | Opera Mobile"},
             Case{"Mozilla/5.0 (Windows NT 5.1; rv:11.0) Gecko Firefox/11.0 (via ggpht.com GoogleImageProxy)",
                  " | Gmail"},
             Case{"Mozilla/5.0", ""},
             Case{"", ""},
             Case{"Windows | Linux | x", "Windows | "},
             Case{"Mac OS X ._.", "macOS | "},
         })
        EXPECT_EQ(parseUserAgent(c.header).text(), c.text) << c.header;
}

}  // namespace
}  // namespace qs
