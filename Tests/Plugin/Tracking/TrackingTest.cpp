// Read tracking: the pixel in the message, its record, and what counts as an open.
#include "TrackingTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::Optional;
using ::testing::SizeIs;
using Manager = QSTrackingPixelManager;

TEST_F(TrackingTest, ATrackedMessageBearsItsPixelAndIsRegisteredWhenItWasDelivered) {
    for (const int minor : {10, 11, 12}) {
        begin(minor);
        answers_[kTracking] = {.body = "[]"};
        auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
        ASSERT_NE(trackingRow(*window), nullptr) << minor;
        EXPECT_EQ(trackingRow(*window)->controls.front().value, Value(false)) << minor;
        track(*window);
        auto& document = window->controller()->webViewEditor()->document();
        window->send();
        const std::string html = document.bodyHtml();
        host_->advance(1);
        const auto arrived = host_->inboxOf("ben");
        ASSERT_THAT(arrived, SizeIs(1)) << minor;
        const auto headers = host_->library().messageWithID(arrived[0].id)->headers();
        const std::string uuid = headers->firstHeaderForKey(QSHeaderKeyXTrackingUUID).value_or("");
        ASSERT_THAT(uuid, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")) << minor;
        EXPECT_THAT(html, HasSubstr("<img src=\"" + backend_.url("/tracking/" + uuid) +
                                    "\" align=\"left\" width=\"0\" height=\"0\" style=\"width:0;height:0;border:0;\" "
                                    "title=\"\" alt=\"\" id=\"QuillsteadTrackingPixel\">"));

        const auto record = Manager::trackingPixelWithUUID(uuid);
        ASSERT_NE(record, nullptr) << minor;
        const auto messageID = headers->firstMessageIDForKey(MCHeaderKeyMessageId);
        EXPECT_EQ(record->messageID(), messageID) << minor;
        const auto posts = asks("POST");
        ASSERT_THAT(posts, SizeIs(minor - 9)) << "one for each version so far";
        EXPECT_EQ(posts.back().header("Authorization"), basic());
        EXPECT_EQ(posts.back().header("Content-Type"), "application/json");
        EXPECT_TRUE(posts.back().has("X-Authorization"));
        const auto body = parseJson(posts.back().body);
        ASSERT_TRUE(body);
        EXPECT_EQ((*body)["pixels"], Value(Array{Dictionary{{"uuid", uuid}, {"messageID", *messageID}}})) << minor;
        EXPECT_TRUE(record->transmitting()) << "the answer did not name it";
        TearDown();
    }
    startHost();
}

TEST_F(TrackingTest, SentTwiceItHasOnePixelAndUntrackedNone) {
    begin();
    auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    auto& document = window->controller()->webViewEditor()->document();
    document.body().setInnerHtml("Hello<img id=\"QuillsteadTrackingPixel\" src=\"https://other.example/tracking/1\">"
                                 "<blockquote><img id=\"QuillsteadTrackingPixel\" src=\"x\"></blockquote>");
    track(*window);
    window->send();
    const std::string html = document.bodyHtml();
    EXPECT_EQ(document.body().elementsByTagName("img").size(), 1u) << html;
    EXPECT_THAT(html, Not(HasSubstr("other.example")));
    host_->advance(1);

    auto plain = host_->compose("ada", "ben@example.org", "Plain", "No pixel.");
    auto& untracked = plain->controller()->webViewEditor()->document();
    untracked.body().setInnerHtml("Hello<img id=\"QuillsteadTrackingPixel\" src=\"https://other.example/tracking/1\">");
    track(*plain, false);
    plain->send();
    EXPECT_EQ(untracked.bodyHtml(), "Hello") << "what an earlier send left";
    host_->advance(1);
    const auto inbox = host_->inboxOf("ben");
    ASSERT_THAT(inbox, SizeIs(2));
    for (const auto& summary : inbox)
        EXPECT_EQ(host_->library().messageWithID(summary.id)->headers()->hasHeaderForKey(QSHeaderKeyXTrackingUUID),
                  summary.subject == "Minutes");
    EXPECT_EQ(Manager::numTotalTrackingPixels(), 1);
}

TEST_F(TrackingTest, TheSwitchIsThereForWhoIsSignedInAndRestsWithoutNetwork) {
    begin();
    defaults().setObject(true, "QSEnableReadTracking");
    auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    EXPECT_EQ(trackingRow(*window)->controls.front().value, Value(true)) << "by the setting";
    window->close(ComposeWindow::Closing::Discard);
    host_->settle();

    defaults().setObject("https://backend.example.org", "QSBackendURL");
    signIn();
    network_->set({.isReachable = false});
    window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    EXPECT_FALSE(trackingRow(*window)->controls.front().enabled);
    EXPECT_EQ(trackingRow(*window)->controls.front().value, Value(false));
    window->close(ComposeWindow::Closing::Discard);
    host_->settle();

    QSQuillsteadUser::me().resetUser();
    window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    EXPECT_EQ(trackingRow(*window), nullptr);
}

TEST_F(TrackingTest, APlainTextIsTurnedIntoARichOne) {
    begin();
    answers_[kTracking] = {.body = "[]"};
    auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    compose_controller::changeComposeMode(window->controller(), 0);
    EXPECT_TRUE(window->isPlainText());
    track(*window);
    window->send();
    host_->advance(1);
    const auto inbox = host_->inboxOf("ben");
    ASSERT_THAT(inbox, SizeIs(1));
    EXPECT_THAT(host_->library().messageWithID(inbox[0].id)->headers()->firstHeaderForKey("Content-Type").value_or(""),
                HasSubstr("multipart/alternative"));
}

TEST_F(TrackingTest, AReplyCountsAsAnOpenUnlessOneCameBefore) {
    begin();
    const auto record = pixel("AAAAAAAA-1111-4111-8111-111111111111", "1@example.org");
    const auto reply = [&](const char* references) {
        host_->receive("ada", "Ben <ben@example.org>", "Re: Minutes", "Yes.", MailboxKind::Inbox,
                       std::string("References: ") + references + "\r\n");
    };
    reply("<other@example.org>");
    EXPECT_EQ(record->numOpens(), 0);
    reply("<other@example.org>\r\n <1@example.org>");
    ASSERT_EQ(record->numOpens(), 1);
    EXPECT_THAT(record->firstOpen(), Optional(now()));
    EXPECT_EQ(record->opens()[0]->userAgent(), std::nullopt);
    host_->advance(60);
    reply("<1@example.org>");
    EXPECT_EQ(record->numOpens(), 1) << "it was read by then";
}

TEST_F(TrackingTest, WhatIsDisplayedAsksForNoPixelOfOnesOwn) {
    begin();
    const std::string mine = "AAAAAAAA-1111-4111-8111-111111111111", theirs = "BBBBBBBB-1111-4111-8111-111111111111";
    pixel(mine.c_str());
    const std::string zero = "00000000-0000-0000-0000-000000000000", address = backend_.url("/tracking/");
    struct Case {
        const char* why;
        std::string html, shown;
    };
    for (const Case& c :
         {Case{"one's own, twice", "<img src='" + address + mine + "'><img src='" + address + mine + "'/>",
               "<img src='" + address + zero + "'><img src='" + address + zero + "'/>"},
          Case{"another sender's", "<img src='" + address + theirs + "'>", "<img src='" + address + theirs + "'>"},
          Case{"another place's", "<img src='https://other.example/tracking/" + mine + "'>",
               "<img src='https://other.example/tracking/" + mine + "'>"},
          Case{"an id that goes on", address + mine + "0", address + mine + "0"},
          Case{"one that ends the text", address, address}, Case{"none at all", "<p>Hello</p>", "<p>Hello</p>"},
          Case{"nothing", "", ""}}) {
        const auto document = std::make_shared<WebDocument>();
        web_document::setHtml(*document, c.html);
        EXPECT_EQ(document->html, c.shown) << c.why;
    }
}

TEST_F(TrackingTest, NoRequestForAPixelOfOnesOwnLeavesWhoeverLoadsIt) {
    begin();
    const std::string mine = "AAAAAAAA-1111-4111-8111-111111111111", theirs = "BBBBBBBB-1111-4111-8111-111111111111";
    pixel(mine.c_str());
    const std::string address = backend_.url("/tracking/");
    struct Case {
        const char* why;
        std::string url;
        bool isDropped;
    };
    for (const char* loader : {"WebViewEditor", "WebMessageController", "MFHTMLConverter"}) {
        const auto object = std::make_shared<HostObject>(loader);
        for (const Case& c :
             {Case{"one's own", address + mine, true}, Case{"with a query", address + mine + "?x=1", true},
              Case{"with a slash at its end", address + mine + "/", true},
              Case{"written in escapes", address + "%41" + mine.substr(1), true},
              Case{"deeper", address + "b/" + mine, true}, Case{"another sender's", address + theirs, false},
              Case{"in lower case, so another's", address + "aaaaaaaa-1111-4111-8111-111111111111", false},
              Case{"blanked before", address + "00000000-0000-0000-0000-000000000000", false},
              Case{"another place's", "https://other.example/tracking/" + mine, false},
              Case{"not a pixel", backend_.url("/pictures/") + mine, false}, Case{"no id", address, false}}) {
            const ResourceResponse redirect{"https://elsewhere.example/", 302};
            for (const ResourceResponse* before : {static_cast<const ResourceResponse*>(nullptr), &redirect}) {
                const auto sent = resource_load_delegate::webViewResourceWillSendRequest(
                    object, nullptr, nullptr, ResourceRequest{c.url}, before, nullptr);
                EXPECT_EQ(!sent, c.isDropped) << loader << ": " << c.why;
                EXPECT_EQ(sent.value_or(ResourceRequest{}).absoluteString, c.isDropped ? "" : c.url) << c.why;
            }
        }
    }
}

TEST_F(TrackingTest, IdsAreComparedExactlyAndZeroIsNone) {
    begin();
    const auto record = pixel("AAAAAAAA-1111-4111-8111-111111111111");
    EXPECT_EQ(Manager::trackingPixelWithUUID("AAAAAAAA-1111-4111-8111-111111111111"), record);
    EXPECT_EQ(Manager::trackingPixelWithUUID("aaaaaaaa-1111-4111-8111-111111111111"), nullptr);
    EXPECT_EQ(Manager::trackingPixelWithUUID(""), nullptr);
    EXPECT_EQ(Manager::trackingPixelWithUUID("", true), nullptr);
    EXPECT_EQ(Manager::trackingPixelWithUUID("00000000-0000-0000-0000-000000000000"), nullptr);
    EXPECT_THAT(log_.messages(LogLevel::Warning), IsEmpty());
    EXPECT_EQ(Manager::trackingPixelWithUUID("00000000-0000-0000-0000-000000000000", true), nullptr);
    EXPECT_THAT(log_.messages(LogLevel::Warning),
                ElementsAre("UUID (00000000-0000-0000-0000-000000000000) for tracking pixel is all zero! Cancelling "
                            "request!"));
    EXPECT_THAT(Manager::trackingPixelsForMessageIDs({}), IsEmpty());
    EXPECT_EQ(Manager::trackingPixelForMessageID(""), nullptr);
    EXPECT_NE(Manager::newTrackingPixel()->uuid(), Manager::newTrackingPixel()->uuid());
}
}  // namespace
}  // namespace qs
