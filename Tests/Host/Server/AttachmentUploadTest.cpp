// Files on their way from the page into a message.
#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <filesystem>

#include "ComposeWindow.h"
#include "Foundation/FileSystem.h"
#include "HttpServer/HttpServer.h"
#include "MailApplication.h"
#include "MailRoutes.h"
#include "Models/View.h"
#include "PageConnection.h"
#include "Support/AlertAnswers.h"
#include "Support/TemporaryHost.h"
#include "Text/Base64.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::ElementsAre;
using testing::HasSubstr;

// The wire to a page.
struct Wire : LiveChannel {
    void send(std::string) override {}
    void close() override { onClose(); }
};

class AttachmentUpload : public testing::Test {
protected:
    std::unique_ptr<HttpBodySink> begin(const std::string& name, bool isInline = false) {
        HttpServerRequest head{.method = "POST",
                               .path = "/compose/" + window_->window()->identifier() + "/attachments"};
        head.headers = {{"X-File-Name", name}, {"X-Inline", isInline ? "1" : "0"}};
        return attachmentUpload(host_.application(), head);
    }
    HttpServerResponse upload(const std::string& name, const std::string& content, bool isInline = false) {
        const auto sink = begin(name, isInline);
        for (std::size_t place = 0; place < content.size(); place += 50'000)
            EXPECT_TRUE(sink->take(std::string_view(content).substr(place, 50'000)));
        return sink->end();
    }
    // What a page says of the files that it is about to send.
    void tell(const std::vector<std::string>& names) {
        const json::object arguments{{"window", window_->window()->identifier()}, {"names", json::value_from(names)}};
        wire_->onText(json::serialize(json::object{{"id", 1}, {"call", "compose.uploads"}, {"args", arguments}}));
    }
    void sendInVain() {
        window_->send();
        host_.settle();
        EXPECT_EQ(host_.application().composeWindows().size(), 1u);
    }

    TemporaryHost host_;
    AlertAnswers alerts_;
    std::shared_ptr<ComposeWindow> window_ = host_.compose("ada", "ben@example.org", "Plans", "See there.");
    std::shared_ptr<Wire> wire_ = std::make_shared<Wire>();
    std::shared_ptr<PageConnection> page_ = std::make_shared<PageConnection>(host_.application(), wire_);
};

TEST_F(AttachmentUpload, BringsAFileOfAnySize) {
    std::string content;
    for (int i = 0; content.size() < 3'000'000; ++i)
        content += std::to_string(i) + "\n";
    const auto answer = upload("Gr%C3%B6%C3%9Fe.zip", content);
    ASSERT_EQ(answer.status, 200) << answer.body;
    ASSERT_EQ(window_->attachments().size(), 1u);
    const ComposeAttachment added = window_->attachments().front();
    EXPECT_EQ(json::parse(answer.body).at("id").as_string(), added.identifier);
    EXPECT_EQ(added.fileName, "Größe.zip");
    EXPECT_EQ(added.size, content.size());
    EXPECT_FALSE(added.isInline);
    const auto file = window_->openAttachment(added.identifier);
    ASSERT_TRUE(file);
    EXPECT_TRUE(startOf(sourceOf(*file), 10'000'000) == content);
    EXPECT_EQ(upload("empty.txt", "").status, 200);
}

TEST_F(AttachmentUpload, TheMessageDoesNotLeaveBeforeItIsThere) {
    auto sink = begin("plans.zip");
    ASSERT_TRUE(sink->take("all"));
    sendInVain();
    EXPECT_THAT(alerts_.seen, ElementsAre("“plans.zip” is not attached yet"));
    EXPECT_EQ(sink->end().status, 200);
    sink.reset();
    window_->send();
    host_.advance(30);
    ASSERT_EQ(host_.inboxOf("ben").size(), 1u);
    EXPECT_EQ(host_.inboxOf("ben").front().attachments, 1);
    EXPECT_EQ(alerts_.seen.size(), 1u);
}

TEST_F(AttachmentUpload, TheMessageDoesNotLeaveBeforeAFileThatWaitsForItsTurn) {
    tell({"first.zip", "second.zip"});
    EXPECT_EQ(upload("first.zip", "all").status, 200);
    tell({"second.zip"});
    sendInVain();
    EXPECT_THAT(alerts_.seen, ElementsAre("“second.zip” is not attached yet"));
    EXPECT_EQ(upload("second.zip", "all").status, 200);
    tell({});
    window_->send();
    host_.advance(30);
    ASSERT_EQ(host_.inboxOf("ben").size(), 1u);
    EXPECT_EQ(host_.inboxOf("ben").front().attachments, 2);
}

TEST_F(AttachmentUpload, APageThatIsGoneKeepsNothingBack) {
    tell({"plans.zip"});
    wire_->close();
    window_->send();
    host_.advance(30);
    EXPECT_EQ(host_.inboxOf("ben").size(), 1u);
    EXPECT_THAT(alerts_.seen, testing::IsEmpty());
    tell({"late.zip"});  // of a window that is closed
}

TEST_F(AttachmentUpload, WhoClosesTheWindowHearsWhatWouldBeMissing) {
    window_->update({.subject = "All plans"});
    tell({"plans.zip"});
    window_->close(ComposeWindow::Closing::Ask);  // Cancel is the last button
    EXPECT_THAT(alerts_.seen, ElementsAre("Save this message as a draft?"));
    EXPECT_THAT(alerts_.texts, ElementsAre(HasSubstr("“plans.zip” is not attached yet and will be missing")));
    EXPECT_EQ(host_.application().composeWindows().size(), 1u);
}

TEST_F(AttachmentUpload, WhoClosesAWindowWithNothingButAFileOnItsWayIsAsked) {
    host_.application().compose({});
    window_ = host_.application().composeWindows().back();
    tell({"plans.zip", "map.zip"});
    window_->close(ComposeWindow::Closing::Ask);
    EXPECT_EQ(host_.application().composeWindows().size(), 2u);
    alerts_.give("Close");
    window_->close(ComposeWindow::Closing::Ask);
    EXPECT_EQ(host_.application().composeWindows().size(), 1u);
    EXPECT_THAT(alerts_.seen, ElementsAre("2 files are not attached yet", "2 files are not attached yet"));
}

TEST_F(AttachmentUpload, ManyThatAreStillToComeAreCounted) {
    AlertAnswers alerts;
    const auto plans = begin("plans.zip"), minutes = begin("minutes.pdf");
    window_->send();
    host_.settle();
    EXPECT_THAT(alerts.seen, testing::ElementsAre("2 files are not attached yet"));
}

TEST_F(AttachmentUpload, SaysWhatIsWrong) {
    const auto noPicture = upload("a.png", "text", true);
    EXPECT_EQ(noPicture.status, 422);
    EXPECT_THAT(noPicture.body, HasSubstr("“a.png” is not a picture"));
    EXPECT_EQ(upload("a.png", dataFromBase64String("iVBORw0KGgo=").value(), true).status, 200);
    {
        const auto broken = begin("half.txt");
        EXPECT_TRUE(broken->take("half"));
    }
    EXPECT_EQ(window_->attachments().size(), 1u) << "what does not come whole is dropped";
    HttpServerRequest gone{.method = "POST", .path = "/compose/none/attachments"};
    EXPECT_EQ(attachmentUpload(host_.application(), gone)->end().status, 404);
    gone.method = "GET";
    EXPECT_EQ(attachmentUpload(host_.application(), gone), nullptr);
}

}  // namespace
}  // namespace qs
