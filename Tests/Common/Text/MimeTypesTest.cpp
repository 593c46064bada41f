#include "Text/MimeTypes.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(MimeTypes, ComeFromTheName) {
    struct Case {
        const char *name, *type;
    };
    for (const Case& c :
         {Case{"a.txt", "text/plain"}, Case{"A.PDF", "application/pdf"}, Case{"a.b.jpg", "image/jpeg"},
          Case{"noextension", "none/known"}, Case{"", "none/known"}, Case{"a.nosuchending", "none/known"}})
        EXPECT_EQ(mimeTypeForFileName(c.name, "none/known"), c.type) << c.name;
    EXPECT_EQ(mimeTypeForFileName("a.nosuchending"), "application/octet-stream");
}

TEST(MimeTypes, GiveTheCustomaryExtension) {
    struct Case {
        const char *type, *extension;
        bool isKnown;
    };
    for (const Case& c :
         {Case{"image/jpeg", "jpg", true}, Case{"text/plain", "txt", true}, Case{"TEXT/HTML", "html", true},
          Case{"application/octet-stream", "", true}, Case{"application/x-no-such-type", "", false},
          Case{"../../etc/passwd", "", false}, Case{"image/", "", false}, Case{"/jpeg", "", false},
          Case{"image", "", false}, Case{"", "", false}}) {
        EXPECT_EQ(extensionForMimeType(c.type), c.extension) << c.type;
        EXPECT_EQ(isKnownMimeType(c.type), c.isKnown) << c.type;
    }
}

}  // namespace
}  // namespace qs
