#include "Compose/AttachmentFolder.h"

#include <gmock/gmock.h>

#include "Compose/BodyMarkup.h"
#include "Compose/PictureUrl.h"
#include "Html/HtmlDocument.h"
#include "Support/TornDisk.h"

namespace qs {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string kPicture = "\x89PNG\r\n\x1A\n" + std::string(100, '\x07');

class Attachments : public testing::Test {
protected:
    TornDisk disk_;
    AttachmentFolder folder_{disk_, "/data/Compose/U-1"};
};

TEST_F(Attachments, KeepNameAndContentUntilTheyAreTakenOut) {
    const auto notes = folder_.add("Notes.pdf", "content", {}, false);
    const auto same = folder_.add("Notes.pdf", "other", {}, false);
    ASSERT_TRUE(notes && same);
    EXPECT_EQ(notes->mimeType, "application/pdf");
    EXPECT_EQ(folder_.content(notes->identifier), "content");
    EXPECT_EQ(folder_.content(same->identifier), "other") << "the same name twice is two files";
    EXPECT_TRUE(folder_.remove(notes->identifier));
    EXPECT_FALSE(folder_.remove(notes->identifier));
    EXPECT_FALSE(folder_.content(notes->identifier));
    folder_.erase();
    EXPECT_THAT(disk_.contents(), IsEmpty());
}

TEST_F(Attachments, AStrangersFileNameLeadsNowhere) {
    for (const char* name : {"../../etc/passwd", "/etc/passwd", "..", "", "a\nb.txt", "C:\\x\\y.exe"}) {
        const auto added = folder_.add(name, "x", {}, false);
        ASSERT_TRUE(added) << name;
        EXPECT_EQ(added->file.parent_path(), "/data/Compose/U-1") << name;
        EXPECT_EQ(added->fileName.find_first_of("/\\\n"), std::string::npos) << name;
        EXPECT_THAT(added->fileName, Not(IsEmpty()));
    }
}

TEST_F(Attachments, OnlyAPictureStandsInTheText) {
    for (const char* content : {"<svg onload=alert(1)/>", "<html>", ""})
        EXPECT_FALSE(folder_.add("picture.png", content, "image/png", true)) << content;
    EXPECT_THAT(folder_.all(), IsEmpty());
    const auto added = folder_.add("whatever.exe", kPicture, {}, true);
    ASSERT_TRUE(added);
    EXPECT_EQ(added->mimeType, "image/png");
}

TEST_F(Attachments, AFullDiskLeavesNothingHalf) {
    int failures = 0;
    for (int step = 1; step <= 4; ++step) {
        TornDisk full({.step = step, .fault = TornDisk::Fault::NoSpace, .lasting = true});
        AttachmentFolder folder(full, "/data/Compose/U-2");
        const auto added = folder.add("Notes.pdf", "content", {}, false);
        if (added) break;
        ++failures;
        EXPECT_THAT(folder.all(), IsEmpty()) << "step " << step;
        EXPECT_THAT(full.contents(), IsEmpty()) << "step " << step;
    }
    EXPECT_GE(failures, 2) << "of the folder and of the file at least";
}

TEST(PictureUrl, GoesThereAndBack) {
    for (std::size_t length = 0; length < 6; ++length) {
        const std::string picture = kPicture + std::string(length, '\xFE');
        EXPECT_EQ(pictureFromUrl(pictureUrl(picture)), picture);
    }
    EXPECT_EQ(pictureUrl("<svg>"), "");
    for (const char* url :
         {"data:image/svg+xml;base64,PHN2Zz4=", "data:text/html;base64,iVBORw0KGgo=", "data:image/png;base64,!!!!",
          "data:image/png,abc", "data:image/png", "https://x/y.png", ""})
        EXPECT_FALSE(pictureFromUrl(url)) << url;
}

TEST_F(Attachments, APictureOfTheTextSurvivesTheRoadToThePageAndBack) {
    const auto picture = folder_.add("p.png", kPicture, {}, true);
    ASSERT_TRUE(picture);
    const std::string body = "<p>Look: <img src=\"cid:" + picture->identifier + "\" width=\"40\"></p>";
    HtmlDocument page(bodyForPage(body, folder_));
    const HtmlNode shown = page.body().elementsByTagName("img").at(0);
    EXPECT_EQ(shown.attribute("data-cid"), picture->identifier);
    EXPECT_EQ(pictureFromUrl(shown.attribute("src")), kPicture);

    const std::string back = bodyFromPage(page.bodyHtml(), folder_);
    HtmlDocument document(back);
    EXPECT_EQ(document.body().elementsByTagName("img").at(0).attribute("src"), "cid:" + picture->identifier);
    EXPECT_EQ(document.body().elementsByTagName("img").at(0).attribute("width"), "40");
    EXPECT_TRUE(bodyShows(back, picture->identifier));
    EXPECT_THAT(folder_.all(), SizeIs(1)) << "no second copy";
}

TEST_F(Attachments, APictureThatThePageBringsItselfBecomesAnAttachment) {
    const std::string back = bodyFromPage("<img src=\"" + pictureUrl(kPicture) + "\">", folder_);
    ASSERT_THAT(folder_.all(), SizeIs(1));
    EXPECT_TRUE(bodyShows(back, folder_.all().front().identifier));
    EXPECT_TRUE(folder_.all().front().isInline);
}

TEST_F(Attachments, WhatThePageSendsIsCleaned) {
    struct Case {
        const char *why, *html, *mustGo;
    };
    for (const Case& c : {Case{"script", "<p>a</p><script>evil()</script>", "evil"},
                          Case{"handler", "<p onclick=\"evil()\">a</p>", "evil"},
                          Case{"link that runs", "<a href=\"javascript:evil()\">a</a>", "evil"},
                          Case{"picture from elsewhere", "<img src=\"https://evil.example/p.gif\">", "evil"},
                          Case{"attachment of another window", "<img data-cid=\"evil\" src=\"x\">", "img"},
                          Case{"frame", "<iframe src=\"https://evil.example\"></iframe>", "evil"}})
        EXPECT_THAT(bodyFromPage(c.html, folder_), Not(HasSubstr(c.mustGo))) << c.why;
}

TEST_F(Attachments, WhatPlugInsFindTheirPlacesByStays) {
    const std::string html = "<div>Hi</div><div id=\"QuillsteadSignature\">Ada</div>"
                             "<div class=\"AppleOriginalContents\"><blockquote type=\"cite\">old</blockquote></div>";
    const std::string once = bodyFromPage(bodyForPage(html, folder_), folder_);
    HtmlDocument document(once);
    EXPECT_TRUE(document.elementById("QuillsteadSignature"));
    EXPECT_EQ(document.body().elementsByClassName("AppleOriginalContents").size(), 1u);
    ASSERT_EQ(document.body().elementsByTagName("blockquote").size(), 1u);
    EXPECT_EQ(document.body().elementsByTagName("blockquote").front().attribute("type"), "cite");
    EXPECT_EQ(bodyFromPage(bodyForPage(once, folder_), folder_), once) << "again changes nothing";
}

}  // namespace
}  // namespace qs
