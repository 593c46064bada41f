#include "HTML2EM/ENHTMLInput.h"

#include <gtest/gtest.h>

#include "HTML2EM/ENMIMEUtils.h"

namespace qs {
namespace {

TEST(ENHTMLInput, HoldsWhatMayStandInXmlAndNoMarks) {
    using namespace std::string_view_literals;
    struct Case {
        const char* why;
        std::string_view text, result;
    };
    const std::string open = "<![if " + std::string(400, 'x') + "]>y";
    for (const Case& c :
         {Case{"plain", "<p>a\tb\r\n</p>", "<p>a\tb\r\n</p>"}, Case{"marks go", "a<![if !mso]>b<![ENDIF]>c", "abc"},
          Case{"the end of a comment stays", "<!--[if mso]>x<![endif]-->y", "<!--[if mso]>x<![endif]-->y"},
          Case{"what is like one stays", "a<![b]>c<![CDATA[d]]>e<![if f<b>g]>h",
               "a<![b]>c<![CDATA[d]]>e<![if f<b>g]>h"},
          Case{"an endless one stays", open, open},
          Case{"places where a line may break", "a<wbr>b<WBR />c</wbr>d<wbr class='x'>e", "abcde"},
          Case{"other names stay", "<wbrx><w>< wbr>", "<wbrx><w>< wbr>"}, Case{"at the end", "a<![if x", "a<![if x"},
          Case{"beginnings of one at the end", "a<", "a<"}, Case{"a mark inside a mark", "<![if <![if x]>y", "<![if y"},
          Case{"a byte order mark at the start", "\xEF\xBB\xBFz", "z"},
          Case{"but not later", "z\xEF\xBB\xBF", "z\xEF\xBB\xBF"},
          Case{"broken characters", "\xC3z\xE6\x97\xF0\x9F\x98\xFF\x80",
               "\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
               "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
          Case{"a character cut off by the end", "a\xE6\x97", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
          Case{"surrogates and overlong forms", "\xED\xA0\x80\xC0\x80",
               "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
          Case{"what XML forbids", "a\0b\x01\x1F\f\x7F\xEF\xBF\xBE\xEF\xBF\xBFz"sv, "ab \x7Fz"},
          Case{"all lengths of characters", "\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80",
               "\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80"}}) {
        std::string room;
        EXPECT_EQ(cleanedHTML(c.text, room), c.result) << c.why;
    }
}

TEST(ENMIMEUtils, KnowsTheServicesTypesBeforeTheSystems) {
    struct Case {
        const char *type, *extension, *file, *typeOfFile;
    };
    for (const Case& c :
         {Case{"image/gif", "gif", "a.GIF", "image/gif"}, Case{"image/jpeg", "jpg", "a.jpg", "image/jpeg"},
          Case{"image/png", "png", "/x.y/a.png", "image/png"}, Case{"image/x-png", "png", "a.tar.mp3", "audio/mpeg"},
          Case{"audio/wav", "wav", "a.wav", "audio/wav"}, Case{"audio/mpeg", "mp3", "a.amr", "audio/amr"},
          Case{"audio/amr", "amr", "a.mp4", "video/mp4"}, Case{"video/mp4", "mp4", "a.pdf", "application/pdf"},
          Case{"application/vnd.evernote.ink", "png", "a.txt", "text/plain"},
          Case{"application/pdf", "pdf", "a.ink", "-"}, Case{"text/plain", "txt", "README", "-"},
          Case{"no/such", "-", "", "-"}}) {
        EXPECT_EQ(ENMIMEUtils::fileExtensionForMIMEType(c.type).value_or("-"), c.extension) << c.type;
        EXPECT_EQ(ENMIMEUtils::determineMIMETypeForFile(c.file).value_or("-"), c.typeOfFile) << c.file;
    }
    EXPECT_EQ(ENMIMEUtils::mimeTypeForUTI("public.jpeg"), "image/jpeg");
    EXPECT_EQ(ENMIMEUtils::mimeTypeForUTI("public.png"), "image/png");
    EXPECT_EQ(ENMIMEUtils::mimeTypeForUTI("image/gif"), "image/gif");
    EXPECT_FALSE(ENMIMEUtils::mimeTypeForUTI("public.gif"));
}

}  // namespace
}  // namespace qs
