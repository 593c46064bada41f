// What read tracking exchanges with the backend, and when: opens that are fetched, pixels that are registered.
#include "TrackingTest.h"

namespace qs {
namespace {

using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::Optional;
using ::testing::SizeIs;
using Manager = QSTrackingPixelManager;

using TrackingSync = TrackingTest;

TEST_F(TrackingSync, PullsAreTheRarerTheOlderTheNewestUnreadIs) {
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
TEST_F(TrackingSync, HeartbeatsPullWhenTheWaitIsOver) {
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

TEST_F(TrackingSync, APullThatCannotBeMadeLeavesTheMarkWhereItWas) {
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

TEST_F(TrackingSync, AnAnswerIsMerged) {
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

TEST_F(TrackingSync, RegisteringTakesWholeRecordsOnceAtATimeAndTriesAgain) {
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

TEST_F(TrackingSync, WhatWasNeverDeliveredGoesAfterADay) {
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
}  // namespace
}  // namespace qs
