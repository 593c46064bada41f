// Pictures beside names: what the page is told of people, and what it gets when it asks for their pictures.
#include "PeoplePictures.h"

#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "Calls.h"
#include "Foundation/NotificationCenter.h"
#include "HostSettings.h"
#include "MainViewer.h"
#include "PageState.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Support/ContactCards.h"
#include "Support/TemporaryHost.h"
#include "Viewer/ContactPictures.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class PeoplePictures : public testing::Test {
protected:
    void begin(int osMinor = 12) {
        host_.reset();
        contacts_.put("Ben Nevis", {"ben@example.org"}, ContactCards::picture(1, 1));
        host_ = std::make_unique<TemporaryHost>(
            TemporaryHostOptions{.osMinor = osMinor, .preparePlatform = [this](Platform& platform) {
                                     contacts_.giveTo(platform, QS_IMAGE_DECODER);
                                 }});
        watch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(PhotoAvailableNotification), [this](const Notification& posted) {
                told_.push_back(pictureNotice(posted.userInfo["Email"].stringValue()));
            });
        told_.clear();
    }
    void put(MailboxKind kind, std::string_view message) {
        ASSERT_TRUE(host_->library().add(*host_->library().mailbox("ada", kind, true), std::string(message), {}, {}));
        host_->settle();
    }
    static void want(bool pictures) { UserDefaults::suite("")->setObject(pictures, kEnableContactPhotos); }
    json::object section(const char* name) {
        return json::parse(*makePageSections(host_->application(), {}).at(name)).as_object();
    }
    std::string picture(const std::string& address) {
        CallContext context{host_->application(), page_};
        const auto answer =
            allCalls().find("people.pictures")->second(context, {{"addresses", json::array{json::string(address)}}});
        return std::string(answer.at("pictures").at(address).as_string());
    }

    ContactCards contacts_;
    std::unique_ptr<TemporaryHost> host_;
    std::vector<std::string> told_;
    ObservationRef watch_;
    PageMemory page_;
};

TEST_F(PeoplePictures, RowsSayWhomTheyShowOnlyWhereThatIsWanted) {
    begin();
    host_->receive("ada", "Ben Nevis <Ben@example.org>", "Minutes", "Text");
    EXPECT_FALSE(section("list").contains("pictures"));
    EXPECT_FALSE(section("list").at("rows").at(0).as_object().contains("person"));
    want(true);
    const auto list = section("list");
    EXPECT_TRUE(list.at("pictures").as_bool());
    EXPECT_EQ(list.at("rows").at(0).at("person"), (json::value{{"address", "ben@example.org"}, {"initials", "BN"}}));
    host_->advance(1);
    host_->receive("ada", "\"Bank <help@bank.example>\" <x@evil.example>", "Your account", "Text");
    EXPECT_EQ(section("list").at("rows").at(0).at("person").at("initials"), "X") << "not those of whom it claims to be";
    want(false);
    EXPECT_FALSE(section("list").at("rows").at(0).as_object().contains("person"));
}

TEST_F(PeoplePictures, ShowWhoWroteOrInSentMailWhomItWentTo) {
    begin();
    want(true);
    put(MailboxKind::Sent,
        "From: Ada Lovelace <ada@example.org>\r\nTo: Ben Nevis <ben@example.org>, carl@example.org\r\n"
        "Message-Id: <1@x>\r\nSubject: Plan\r\n\r\nText");
    put(MailboxKind::Inbox, "From: tom@example.org\r\nTo: ada@example.org\r\nMessage-Id: <2@x>\r\n"
                            "In-Reply-To: <1@x>\r\nSubject: Re: Plan\r\n\r\nText");
    EXPECT_EQ(section("list").at("rows").at(0).at("person").at("initials"), "T");
    host_->viewer().selectMailbox(host_->library().mailbox("ada", MailboxKind::Sent, false)->identifier());
    EXPECT_EQ(section("list").at("rows").at(0).at("person").at("address"), "ben@example.org");
    host_->viewer().selectIDs({section("list").at("rows").at(0).at("id").as_int64()});
    const auto conversation = section("message").at("conversation").as_array();
    ASSERT_EQ(conversation.size(), 2u);
    EXPECT_EQ(conversation[0].at("person").at("initials"), "AL") << "there names are those of the writers";
    EXPECT_EQ(conversation[1].at("person").at("address"), "tom@example.org");
}

TEST_F(PeoplePictures, ComeAfterTheyWereAskedForAndNeverUnasked) {
    for (const int minor : {11, 12}) {
        SCOPED_TRACE(minor);
        begin(minor);
        host_->receive("ada", "Ben Nevis <ben@example.org>", "Minutes", "Text");
        want(true);
        section("list");
        host_->settle();
        EXPECT_THAT(told_, IsEmpty()) << "a list alone makes nobody look for pictures";
        EXPECT_EQ(picture("ben@example.org"), "");
        host_->settle();
        EXPECT_THAT(told_, ElementsAre(HasSubstr("ben@example.org")));
        EXPECT_THAT(picture("ben@example.org"), StartsWith("data:image/png;base64,"));
        EXPECT_EQ(picture("tom@example.org"), "");
        want(false);
        EXPECT_EQ(picture("ben@example.org"), "");
        EXPECT_EQ(pictureNotice("ben@example.org"), "");
    }
}

}  // namespace
}  // namespace qs
