// Read tracking: the pixel in the message, its record, and what is exchanged with the backend.
#include "Account/BackendTest.h"
#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Compose/WebViewEditor.h"
#include "ComposeWindow.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/Json.h"
#include "Foundation/NotificationCenter.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Tracking/QSTrackingPixelManager.h"
#include "Viewer/ResourceLoad.h"
#include "Viewer/WebDocument.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::Optional;
using ::testing::SizeIs;

constexpr TimeInterval kMinute = 60, kDay = 86400;
constexpr const char* kTracking = "/api/v1/tracking";
using Manager = QSTrackingPixelManager;

class TrackingTest : public BackendTest {
protected:
    void begin(int osMinor = 12) {
        answers_["/api/v1/profile"] = {.body = R"({"id": 1, "name": "Ada"})"};
        answers_["/api/v1/properties"] = answers_["/api/v1/device"] = {.body = "{}"};
        startWithBackend({.osMinor = osMinor});
        signIn();
    }
    static Date now() { return RunLoop::main().now(); }
    std::vector<WebRequest> asks(std::string_view method) const {
        std::vector<WebRequest> found;
        for (WebRequest& request : backend_.requests())
            if (request.path == kTracking && request.method == method) found.push_back(std::move(request));
        return found;
    }
    std::size_t pulls() const { return asks("GET").size(); }
    void pull() {
        Manager::syncTrackingPixels();
        host_->settle();
    }
    std::shared_ptr<QSTrackingPixel> pixel(const char* uuid, const char* messageID = nullptr) {
        auto made = Manager::trackingPixelWithUUID(uuid, true);
        if (messageID) made->setMessageID(messageID);
        return made;
    }
    std::shared_ptr<HeaderRow> trackingRow(ComposeWindow& window) {
        for (const auto& view : window.controller()->headersEditor()->subjectStack()->views())
            if (auto row = std::dynamic_pointer_cast<HeaderRow>(view); row && row->identifier == "trackingView")
                return row;
        return nullptr;
    }
    void track(ComposeWindow& window, bool on = true) { trackingRow(window)->controls.front().onChange(on); }
};

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

TEST_F(TrackingTest, PullsAreTheRarerTheOlderTheNewestUnreadIs) {
    struct Case {
        std::optional<TimeInterval> minutes;
        TimeInterval seconds;
    };
    for (const Case& c : {Case{0, 60}, Case{5, 60}, Case{5.01, 120}, Case{30, 120}, Case{30.01, 300}, Case{1440, 300},
                          Case{1441, 600}, Case{10080, 600}, Case{10081, 3600}, Case{std::nullopt, 3600}})
        EXPECT_EQ(secondsBetweenPulls(c.minutes ? std::optional(*c.minutes * kMinute) : std::nullopt), c.seconds)
            << c.minutes.value_or(-1);

    begin();
    answers_[kTracking] = {.body = "[]"};
    pull();
    EXPECT_EQ(pulls(), 0u) << "nothing is tracked";
    pixel("AAAAAAAA-1111-4111-8111-111111111111");
    pull();
    ASSERT_EQ(pulls(), 1u) << "the first one is let through";
    EXPECT_EQ(asks("GET").at(0).queryFields()["updated_since"], "1970-01-01T00:00:00Z");
    host_->loop().advance(59);
    pull();
    EXPECT_EQ(pulls(), 1u);
    host_->loop().advance(1);
    const Date asked = now();
    pull();
    EXPECT_EQ(pulls(), 2u) << "exactly the wait is enough; the heartbeat may have come first";
    EXPECT_NE(asks("GET").at(1).queryFields()["updated_since"], "1970-01-01T00:00:00Z");
    defaults().setObject(false, "QSSyncedNewPixelTracking");
    defaults().setObject(asked - kDay, "QSLastPixelSyncTimeKey");
    pull();
    EXPECT_EQ(asks("GET").back().queryFields()["updated_since"], "1970-01-01T00:00:00Z") << "the whole history";
}

// The clock's beat is 30 seconds: what falls between two of them waits for the next.
TEST_F(TrackingTest, HeartbeatsPullWhenTheWaitIsOver) {
    begin();
    answers_[kTracking] = {.body = "[]"};
    const auto record = pixel("AAAAAAAA-1111-4111-8111-111111111111", "1@example.org");
    record->setIsRemote(true);
    struct Span {
        TimeInterval fromMinute, wait;
    };
    delegate().defibrillate();
    host_->settle();
    for (const Span& span : {Span{0, 60}, Span{6, 120}, Span{31, 300}, Span{1441, 600}, Span{10081, 3600}}) {
        record->setCreated(now() - span.fromMinute * kMinute);
        defaults().setObject(now() - 15, "QSLastPixelSyncTimeKey");  // not at a beat
        const auto before = pulls();
        host_->advance(span.wait - 30);
        EXPECT_EQ(pulls(), before) << span.fromMinute;
        host_->advance(30);
        EXPECT_EQ(pulls(), before + 1) << span.fromMinute;
        host_->advance(span.wait * 2);
        EXPECT_EQ(pulls(), before + 3) << span.fromMinute;
    }
}

TEST_F(TrackingTest, APullThatCannotBeMadeLeavesTheMarkWhereItWas) {
    begin();
    answers_[kTracking] = {.body = "[]"};
    pixel("AAAAAAAA-1111-4111-8111-111111111111", "1@example.org");
    const Value mark = now() - kDay;
    defaults().setObject(mark, "QSLastPixelSyncTimeKey");
    network_->set({.isReachable = false});
    defaults().setObject("https://backend.example.org", "QSBackendURL");
    signIn();
    pull();
    EXPECT_THAT(log_.messages(), ::testing::Contains("Cannot reach Quillstead server."));
    network_->set({.isReachable = true});
    defaults().setObject(backend_.url(""), "QSBackendURL");
    QSQuillsteadUser::me().resetUser();
    pull();
    EXPECT_THAT(log_.messages(), ::testing::Contains("Email or password is missing."));
    EXPECT_EQ(defaults().objectForKey("QSLastPixelSyncTimeKey"), mark);
    EXPECT_EQ(asks("GET").size() + asks("POST").size(), 0u);
    EXPECT_THAT(Manager::pendingTrackingPixels(), SizeIs(1));
}

TEST_F(TrackingTest, AnAnswerIsMerged) {
    begin();
    const auto known = pixel("AAAAAAAA-1111-4111-8111-111111111111", "kept@example.org");
    const auto mine = pixel("BBBBBBBB-1111-4111-8111-111111111111");
    answers_[kTracking] = {.body = R"([
        {"uuid": "aaaaaaaa-1111-4111-8111-111111111111", "message_id": "other@example.org", "opens": [
            {"created_at": "2023-11-14 10:00:00", "city": "Berlin", "country": "Germany", "ip": "192.0.2.1",
             "timezone": "Europe/Berlin", "userAgentString": "macOS 10.12 | Apple Mail"},
            {"created_at": "2023-11-14 10:00:00", "city": null}]},
        {"uuid": "BBBBBBBB-1111-4111-8111-111111111111", "message_id": "new@example.org"},
        {"uuid": "CCCCCCCC-1111-4111-8111-111111111111", "message_id": "far@example.org", "opens": []},
        {"uuid": "00000000-0000-0000-0000-000000000000", "opens": []}])"};
    int told = 0;
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(QSBannerViewInfoDidChangeNotification), [&](const Notification&) { ++told; });
    pull();
    EXPECT_TRUE(known->isRemote());
    EXPECT_THAT(known->messageID(), Optional(Eq("kept@example.org"))) << "what is set stays";
    ASSERT_EQ(known->numOpens(), 2) << "two of the same second in one answer";
    EXPECT_THAT(known->firstOpen(), Optional(Date{1'699'956'000}));
    EXPECT_THAT(known->opens()[0]->userAgent(), Optional(Eq("macOS 10.12 | Apple Mail")));
    EXPECT_THAT(known->opens()[0]->city(), Optional(Eq("Berlin")));
    EXPECT_EQ(known->opens()[1]->city(), std::nullopt);
    EXPECT_THAT(mine->messageID(), Optional(Eq("new@example.org")));
    const auto far = Manager::trackingPixelForMessageID("far@example.org");
    ASSERT_NE(far, nullptr) << "sent from another machine";
    EXPECT_THAT(far->created(), Optional(now()));
    EXPECT_EQ(told, 1);
    EXPECT_THAT(log_.messages(LogLevel::Warning), ::testing::Contains(HasSubstr("is all zero! Cancelling request!")));

    answers_[kTracking].body = R"([{"uuid": "AAAAAAAA-1111-4111-8111-111111111111", "opens": [
            {"created_at": "2023-11-14 10:00:00"}, {"created_at": "2023-11-14 10:00:01"}, {"created_at": "soon"}]}])";
    defaults().removeObjectForKey("QSLastPixelSyncTimeKey");
    pull();
    EXPECT_EQ(known->numOpens(), 3) << "only what is later than the last";
    EXPECT_EQ(Manager::unreadTrackingPixels().size(), 2u);
}

TEST_F(TrackingTest, RegisteringTakesWholeRecordsOnceAtATimeAndTriesAgain) {
    begin();
    const auto one = pixel("AAAAAAAA-1111-4111-8111-111111111111", "1@example.org");
    const auto two = pixel("BBBBBBBB-1111-4111-8111-111111111111", "2@example.org");
    const auto undelivered = pixel("CCCCCCCC-1111-4111-8111-111111111111");
    answers_[kTracking] = {.status = 503};
    Manager::addOrUpdateRemoteTrackingPixels({one, two, undelivered});
    Manager::addOrUpdateRemoteTrackingPixels({one});
    host_->settle();
    ASSERT_THAT(asks("POST"), SizeIs(1)) << "on its way already";
    EXPECT_FALSE(one->transmitting());
    EXPECT_THAT(log_.messages(LogLevel::Error),
                ::testing::Contains(HasSubstr("Failed to update remote tracking pixels")));

    answers_[kTracking] = {.body =
                               R"([{"uuid": "AAAAAAAA-1111-4111-8111-111111111111", "message_id": "1@example.org"}])"};
    Manager::addOrUpdateRemoteTrackingPixels(Manager::pendingTrackingPixels());
    host_->settle();
    EXPECT_TRUE(one->isRemote());
    EXPECT_FALSE(one->transmitting());
    EXPECT_FALSE(two->isRemote());

    answers_[kTracking] = {.body =
                               R"([{"uuid": "AAAAAAAA-1111-4111-8111-111111111111"}, {"message_id": "2@example.org"},
                               {"uuid": "CCCCCCCC-1111-4111-8111-111111111111", "message_id": "3@example.org"}])"};
    const auto three = pixel("CCCCCCCC-1111-4111-8111-111111111111", "3@example.org");
    Manager::addOrUpdateRemoteTrackingPixels({three});
    host_->settle();
    EXPECT_TRUE(three->isRemote()) << "the answer's wrong ones keep it back";
    for (const char* wrong : {"It does not have a UUID!", "It does not have a messageID!"})
        EXPECT_THAT(log_.messages(LogLevel::Error), ::testing::Contains(HasSubstr(wrong)));
    three->setMessageID(std::nullopt);

    Manager::addOrUpdateRemoteTrackingPixels({undelivered});
    host_->settle();
    EXPECT_THAT(asks("POST"), SizeIs(3)) << "without a Message-Id there is nothing to register";
}

TEST_F(TrackingTest, WhatWasNeverDeliveredGoesAfterADay) {
    begin();
    answers_[kTracking] = {.body = "[]"};
    const auto stale = pixel("AAAAAAAA-1111-4111-8111-111111111111");
    const auto dayOld = pixel("BBBBBBBB-1111-4111-8111-111111111111");
    const auto remote = pixel("CCCCCCCC-1111-4111-8111-111111111111");
    remote->setIsRemote(true);
    stale->setCreated(now() - kDay - 1);
    dayOld->setCreated(now() - kDay);
    remote->setCreated(now() - 9 * kDay);
    pull();
    EXPECT_TRUE(stale->isDeleted());
    EXPECT_FALSE(dayOld->isDeleted());
    EXPECT_FALSE(remote->isDeleted());
    EXPECT_EQ(Manager::numTotalTrackingPixels(), 2);
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
