// Leaving a newsletter from the banner above it: over the web, by mail, and when neither works.
#include <algorithm>

#include "Application/EventMonitors.h"
#include "Core/QSPopoverController.h"
#include "Http/HttpClient.h"
#include "Keychain/Keychain.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "MainViewer.h"
#include "PluginTest.h"
#include "Smtp/SubmissionServer.h"
#include "Support/AlertAnswers.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/ScriptedWebServer.h"
#include "Text/Base64.h"
#include "Unsubscribe/QSUnsubscribeManager.h"
#include "Unsubscribe/UnsubscribeLog.h"
#include "Unsubscribe/UnsubscribeMailbox.h"
#include "Unsubscribe/UnsubscribeSettings.h"
#include "Viewer/Banner.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kMailto = "mailto:leave@news.example?subject=leave";

class UnsubscribeTest : public PluginTest {
protected:
    UnsubscribeTest() {
        preparePlatform_ = [this](Platform& platform) {
            platform.http =
                HttpClient::make({.userAgent = "Test", .certificates = certificates_, .allowsLoopback = webIsPublic_});
            platform.keychain = Keychain::vault({folder_.path() / "Keychain", {}, nullptr});
        };
    }
    // "ada" sends through the mail server, "ben" has none.
    void start(int osMinor = 12) {
        AccountRecord ada = localAccount("ada", "Ada Lovelace", "ada@example.org");
        ada.outgoing = SubmissionServer{.host = "127.0.0.1",
                                        .port = smtp_.port(),
                                        .security = TransportSecurity::Tls,
                                        .user = "ada",
                                        .passwordCommand = passwordCommand_,
                                        .certificateAuthorities = certificates_.string()};
        startHost({.osMinor = osMinor, .accounts = {ada, localAccount("ben", "Ben Nevis", "ben@example.org")}});
    }
    std::string web(std::string_view path = "/leave?r=ada&list=deckle") const { return web_.url(path); }

    MessageRef newsletter(const std::string& addresses, const char* account = "ada", const char* more = "",
                          MailboxKind mailbox = MailboxKind::Inbox) {
        auto message = host_->receive(account, "The Deckle <deckle@news.example>", "Issue", "Paper", mailbox,
                                      "List-Unsubscribe: " + addresses + "\r\n" + more);
        host_->viewer().selectMailbox(message->mailbox()->identifier());
        host_->viewer().selectIDs({message->libraryID()});
        host_->settle();
        return message;
    }
    BannerList displayed() { return host_->viewer().banners()->displayed(); }
    // The banner that stands above the selected message; null for none.
    std::shared_ptr<BannerViewController> banner() {
        for (const auto& each : displayed())
            if (banner_quillstead::bannerViewType(each) == static_cast<int>(BannerViewType::Unsubscribe)) return each;
        return nullptr;
    }
    bool press() {
        const auto button = banner_quillstead::primaryActionButton(banner());
        const bool sent = host_->application().sendAction(button->action, button->target.lock().get(), button.get());
        host_->settle();
        return sent;
    }
    // The outcome for a message with these addresses, as the manager tells it.
    bool leaves(const std::string& addresses, const char* account = "ada", const char* more = "") {
        const BannerSubject subject(newsletter(addresses, account, more));
        std::optional<bool> outcome;
        QSUnsubscribeManager::unsubscribeFromMessage(subject, [&](bool unsubscribed) { outcome = unsubscribed; });
        host_->settle();
        EXPECT_TRUE(outcome.has_value()) << "nobody was told of an outcome";
        return outcome.value_or(false);
    }
    static bool toldOfError(const LogCapture& log) { return log.contains("Unsubscription error: "); }

    TemporaryFolder folder_;
    TestAuthority authority_;
    std::filesystem::path certificates_ = authority_.write(folder_ / "authority.pem");
    bool webIsPublic_ = true;
    std::vector<std::string> passwordCommand_{"echo", "sail away"};
    std::function<WebAnswer(const WebRequest&)> answer_ = [](const WebRequest&) -> WebAnswer { return {}; };
    ScriptedWebServer web_{[this](const WebRequest& request) { return answer_(request); }};
    RecordingSmtpServer smtp_{{.identity = authority_.issue(), .isTls = true, .offersAuthentication = true}};
    AlertAnswers alerts_;
};

TEST_F(UnsubscribeTest, TheButtonAsksTheWebAndTheBannerSaysSo) {
    for (const int minor : {10, 11, 12}) {
        start(minor);
        const auto message = newsletter("<" + std::string(kMailto) + ">, <" + web() + ">");
        ASSERT_NE(banner(), nullptr) << minor;
        const auto button = banner_quillstead::primaryActionButton(banner());
        EXPECT_EQ(banner()->messageField.text, "You are subscribed to this newsletter");
        EXPECT_EQ(banner()->icon, "plugin:newsletter");
        EXPECT_EQ(button->title, "Unsubscribe");
        EXPECT_FALSE(button->isHidden);
        const auto asked = web_.requests().size();
        EXPECT_TRUE(press());
        ASSERT_THAT(web_.requests(), SizeIs(asked + 1));
        const WebRequest request = web_.requests().back();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.path, "/leave");
        EXPECT_EQ(request.query, "");
        EXPECT_EQ(request.body, "list=deckle&r=ada");
        EXPECT_FALSE(request.has("Cookie") || request.has("Authorization") || request.has("Referer"));
        EXPECT_THAT(smtp_.received(), IsEmpty());

        EXPECT_THAT(banner()->messageField.text,
                    StartsWith("You have been unsubscribed from this newsletter at 11/14/23"));
        EXPECT_EQ(banner()->icon, "plugin:unsubscribed");
        EXPECT_TRUE(button->isHidden);
        ASSERT_THAT(distributed_->posted, Not(IsEmpty()));
        EXPECT_EQ(distributed_->posted.back().name, "com.apple.Mail.Quillstead.UserNotification");
        EXPECT_EQ(distributed_->posted.back().userInfo["title"].stringValue(), "Successfully unsubscribed");
        EXPECT_EQ(distributed_->posted.back().userInfo["subtitle"].stringValue(),
                  "You have been successfully unsubscribed from 'The Deckle'.");

        host_->advance(60);
        newsletter("<" + web() + ">");
        EXPECT_EQ(banner()->messageField.text, "You are subscribed to this newsletter") << "the next issue";
        EXPECT_FALSE(button->isHidden);
        restart();
        host_->viewer().selectIDs({message->libraryID()});
        host_->settle();
        EXPECT_THAT(banner()->messageField.text, StartsWith("You have been unsubscribed")) << "it is remembered";
        MailBundleUnload();
        host_.reset();
    }
    start();
}

TEST_F(UnsubscribeTest, WhoShowsNoBanner) {
    start();
    newsletter("<" + web() + ">", "ada", "", MailboxKind::Junk);
    EXPECT_EQ(banner(), nullptr) << "junk";
    newsletter("<" + web() + ">");
    ASSERT_NE(banner(), nullptr);
    newslettersGroup().controls.at(0).onChange(false);
    EXPECT_EQ(banner(), nullptr) << "switched off";
    newslettersGroup().controls.at(0).onChange(true);
    EXPECT_NE(banner(), nullptr);
    const auto letter = host_->receive("ada", "Ben <ben@example.org>", "Hello", "Hi");
    host_->viewer().selectIDs({letter->libraryID()});
    host_->settle();
    EXPECT_EQ(banner(), nullptr) << "no newsletter";
}

TEST_F(UnsubscribeTest, WhatTheWebAnswersDecidesWhetherMailIsTried) {
    start();
    const std::string both = "<" + web() + ">, <" + kMailto + ">", webOnly = "<" + web() + ">";
    struct Case {
        WebAnswer answer;
        bool isDone, isError;
    };
    std::size_t mails = 0;
    for (const Case& c :
         {Case{{.status = 200}, true, false}, Case{{.status = 204}, false, false}, Case{{.status = 202}, false, false},
          Case{{.status = 404}, false, true}, Case{{.status = 500}, false, true}, Case{{.hangsUp = true}, false, true},
          Case{{.status = 302, .headers = {{"Location", "/goodbye"}}}, false, true}}) {
        answer_ = [answer = c.answer](const WebRequest&) { return answer; };
        log_.clear();
        EXPECT_EQ(leaves(webOnly), c.isDone) << c.answer.status;
        EXPECT_EQ(toldOfError(log_), c.isError) << c.answer.status;
        EXPECT_TRUE(leaves(both)) << c.answer.status;
        mails += c.isDone ? 0 : 1;
        EXPECT_THAT(smtp_.received(), SizeIs(mails)) << c.answer.status;
    }
    for (const WebRequest& request : web_.requests())
        EXPECT_EQ(request.method + " " + request.path, "POST /leave");
    EXPECT_FALSE(leaves("<ftp://news.example/>")) << "neither way";
}

TEST_F(UnsubscribeTest, ARedirectIsFollowedWithTheSameRequest) {
    start();
    answer_ = [](const WebRequest& request) -> WebAnswer {
        if (request.path == "/leave") return {.status = 308, .headers = {{"Location", "/goodbye"}}};
        return {};
    };
    EXPECT_TRUE(leaves("<" + web() + ">"));
    ASSERT_THAT(web_.requests(), SizeIs(2));
    EXPECT_EQ(web_.requests()[1].method + " " + web_.requests()[1].path, "POST /goodbye");
    EXPECT_EQ(web_.requests()[1].body, "list=deckle&r=ada");
    answer_ = [](const WebRequest&) -> WebAnswer { return {.status = 307, .headers = {{"Location", "/leave"}}}; };
    EXPECT_FALSE(leaves("<" + web() + ">")) << "in a circle";
}

TEST_F(UnsubscribeTest, ARequestInOneStepGoesFirstWhereItIsDeclared) {
    ScriptedWebServer safe([this](const WebRequest& request) { return answer_(request); }, authority_.issue());
    constexpr const char* kDeclared = "List-Unsubscribe-Post: List-Unsubscribe=One-Click\r\n";
    start();
    answer_ = [](const WebRequest&) -> WebAnswer { return {.status = 202}; };
    EXPECT_TRUE(leaves("<" + safe.url("/leave?r=ada") + ">", "ada", kDeclared));
    ASSERT_THAT(safe.requests(), SizeIs(1));
    EXPECT_EQ(safe.requests()[0].method, "POST");
    EXPECT_EQ(safe.requests()[0].query, "r=ada");
    EXPECT_EQ(safe.requests()[0].body, "List-Unsubscribe=One-Click");
    EXPECT_EQ(safe.requests()[0].header("Content-Type"), "application/x-www-form-urlencoded");

    answer_ = [](const WebRequest& request) -> WebAnswer { return {.status = request.query.empty() ? 200 : 500}; };
    EXPECT_TRUE(leaves("<" + safe.url("/leave?r=ada") + ">", "ada", kDeclared)) << "then as without it";
    ASSERT_THAT(safe.requests(), SizeIs(3));
    EXPECT_EQ(safe.requests()[2].body, "r=ada");

    answer_ = [](const WebRequest&) -> WebAnswer { return {}; };
    EXPECT_TRUE(leaves("<" + web() + ">", "ada", kDeclared));
    EXPECT_EQ(web_.requests().at(0).body, "list=deckle&r=ada") << "it is defined for safe addresses alone";
}

TEST_F(UnsubscribeTest, AnAddressInAPrivateNetworkIsNotAsked) {
    webIsPublic_ = false;
    start();
    EXPECT_FALSE(leaves("<" + web() + ">"));
    EXPECT_EQ(web_.connections(), 0);
    EXPECT_TRUE(toldOfError(log_));
    defaults().setObject(Array{"127.0.0.1:" + std::to_string(web_.port())}, "QSLocalNewsletterServers");
    EXPECT_TRUE(leaves("<" + web() + ">")) << "but for one that the person has named";
    answer_ = [](const WebRequest&) -> WebAnswer {
        return {.status = 307, .headers = {{"Location", "http://127.0.0.1:1/leave"}}};
    };
    EXPECT_FALSE(leaves("<" + web() + ">")) << "which may not lead to others";
    EXPECT_THAT(unsubscribeSteps().at(0).answer, HasSubstr("private network"));
}

TEST_F(UnsubscribeTest, AMailLeavesFromTheAccountThatTheNewsletterCameTo) {
    start();
    EXPECT_TRUE(leaves("<mailto:leave@news.example?subject=Leave%20now&body=id=7>"));
    ASSERT_THAT(smtp_.received(), SizeIs(1));
    const ReceivedMail mail = smtp_.received()[0];
    EXPECT_EQ(mail.from, "ada@example.org");
    EXPECT_THAT(mail.to, ElementsAre("leave@news.example"));
    EXPECT_EQ(mail.user, "ada");
    EXPECT_EQ(mail.password, "sail away");
    EXPECT_THAT(mail.content, HasSubstr("\r\nSubject: Leave%20now\r\n"));
    EXPECT_EQ(dataFromBase64String(mail.content.substr(mail.content.find("\r\n\r\n"))), "id=7");
    EXPECT_THAT(smtp_.violations(), IsEmpty());
    EXPECT_FALSE(log_.contains("sail away"));
    EXPECT_THAT(host_->messagesOf("ada", MailboxKind::Sent), IsEmpty()) << "it is no mail of the host's";

    smtp_.add({.stage = SmtpStage::Recipient, .reply = "550 5.1.1 nobody of that name"});
    EXPECT_FALSE(leaves("<" + std::string(kMailto) + ">"));
    EXPECT_TRUE(log_.contains("SMTP error = "));
    EXPECT_FALSE(leaves("<mailto:?subject=leave>")) << "to nobody";
}

TEST_F(UnsubscribeTest, WithoutAServerOfItsOwnTheBackendsMailboxTakesItsPlace) {
    start();
    EXPECT_FALSE(leaves("<" + std::string(kMailto) + ">", "ben")) << "there is none in this build";
    EXPECT_EQ(log_.messages(LogLevel::Warning).back().substr(0, 38), "Incomplete STMP server information, so");
    RecordingSmtpServer backend({.identity = authority_.issue(), .isTls = true, .offersAuthentication = true});
    auto& mailbox = unsubscribeMailbox();
    mailbox.address = "leaving@backend.example";
    mailbox.host = "127.0.0.1";
    mailbox.login = "unsubscribe-login-1234";
    mailbox.password = "backendsecret123";
    mailbox.port = std::to_string(backend.port());
    mailbox.certificateAuthorities = certificates_.string();
    EXPECT_TRUE(leaves("<" + std::string(kMailto) + ">", "ben"));
    ASSERT_THAT(backend.received(), SizeIs(1));
    EXPECT_EQ(backend.received()[0].from, "leaving@backend.example");
    EXPECT_EQ(backend.received()[0].user, "unsubscribe-login-1234");
}

TEST_F(UnsubscribeTest, APasswordThatCannotBeHadNowIsNoMissingOne) {
    passwordCommand_ = {"false"};
    start();
    EXPECT_FALSE(leaves("<" + std::string(kMailto) + ">"));
    EXPECT_FALSE(log_.contains("Incomplete STMP"));
    EXPECT_EQ(smtp_.connections(), 0);
}

TEST_F(UnsubscribeTest, AFailureIsToldAndTheButtonStays) {
    start();
    answer_ = [](const WebRequest&) -> WebAnswer { return {.status = 500}; };
    newsletter("<" + web() + ">");
    press();
    EXPECT_THAT(alerts_.seen, ElementsAre("Failed to unsubscribe"));
    EXPECT_TRUE(log_.contains("Could not unsubscribe from newsletter!"));
    EXPECT_EQ(banner()->messageField.text, "You are subscribed to this newsletter");
    EXPECT_TRUE(banner_quillstead::primaryActionButton(banner())->isEnabled);
    EXPECT_THAT(distributed_->posted, IsEmpty());
    EXPECT_TRUE(defaults().objectForKey("QSUnsubscribedList").dictionary().empty());
}

TEST_F(UnsubscribeTest, WhileARequestIsUnderWayAnotherSendsNothing) {
    start();
    const BannerSubject subject(newsletter("<" + web() + ">"));
    const auto button = banner_quillstead::primaryActionButton(banner());
    int told = 0;
    QSUnsubscribeManager::unsubscribeFromMessage(subject, [&](bool unsubscribed) { told += unsubscribed; });
    host_->viewer().banners()->updateBannerDisplay();
    EXPECT_FALSE(button->isEnabled);
    QSUnsubscribeManager::unsubscribeFromMessage(subject, [&](bool unsubscribed) { told += unsubscribed; });
    QSUnsubscribeManager::unsubscribeFromMessage(subject, nullptr);
    host_->settle();
    EXPECT_EQ(told, 2);
    EXPECT_THAT(web_.requests(), SizeIs(1));
}

TEST_F(UnsubscribeTest, TheOptionKeyAlsoDeletes) {
    start();
    const auto message = newsletter("<" + web() + ">");
    const auto button = banner_quillstead::primaryActionButton(banner());
    const auto hold = [](unsigned flags) { EventMonitors::current().dispatch({kFlagsChangedMask, flags}); };
    hold(kOptionKeyFlag);
    EXPECT_EQ(button->title, "Unsubscribe & Delete");
    hold(0);
    EXPECT_EQ(button->title, "Unsubscribe");
    EXPECT_EQ(button->action, "unsubscribe:");
    hold(kOptionKeyFlag);
    EXPECT_TRUE(press());
    EXPECT_THAT(host_->messagesOf("ada", MailboxKind::Inbox), IsEmpty());
    EXPECT_THAT(host_->messagesOf("ada", MailboxKind::Trash), SizeIs(1));
    EXPECT_THAT(defaults().objectForKey("QSUnsubscribedList").dictionary(), SizeIs(1));
    EXPECT_THAT(alerts_.seen, IsEmpty());

    answer_ = [](const WebRequest&) -> WebAnswer { return {.status = 500}; };
    newsletter("<" + web() + ">");
    hold(kOptionKeyFlag);
    press();
    EXPECT_THAT(host_->messagesOf("ada", MailboxKind::Inbox), SizeIs(1)) << "what failed stays";
}

TEST_F(UnsubscribeTest, AHintPointsAtTheButtonOnce) {
    start();
    newsletter("<" + web() + ">");
    host_->advance(1.5);
    EXPECT_NE(QSPopoverController::sharedController().viewWithIdentifier("UnsubscribeButton"), nullptr);
}

TEST_F(UnsubscribeTest, ThePersonCanSeeWhatWasAskedOfWhom) {
    start();
    EXPECT_THAT(newslettersGroup().controls, SizeIs(1)) << "nothing yet";
    answer_ = [](const WebRequest&) -> WebAnswer { return {.status = 204}; };
    EXPECT_TRUE(leaves("<" + web("/leave?secret=1234567") + ">, <" + kMailto + ">"));
    const auto group = newslettersGroup();
    ASSERT_THAT(group.controls, SizeIs(2));
    const auto& rows = group.controls[1].options;
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[0].detail,
              "Mail to leave@news.example, with the subject “leave”. The mail server 127.0.0.1 took it.");
    EXPECT_EQ(rows[0].facts.at(0).text, "The Deckle");
    EXPECT_EQ(rows[1].detail,
              "Sent a request to 127.0.0.1:" + std::to_string(web_.port()) + ". The server answered with status 204.");
    for (int i = 0; i < 300; ++i)
        noteUnsubscribeStep({host_->loop().now(), "x", std::to_string(i), ""});
    EXPECT_THAT(unsubscribeSteps(), SizeIs(200));
    EXPECT_EQ(unsubscribeSteps().front().asked, "299");
}

}  // namespace
}  // namespace qs
