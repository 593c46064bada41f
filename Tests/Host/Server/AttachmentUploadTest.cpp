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
#include "Support/AlertAnswers.h"
#include "Support/TemporaryHost.h"
#include "Text/Base64.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::HasSubstr;

class AttachmentUpload : public testing::Test {
protected:
    std::unique_ptr<HttpBodySink> begin(const std::string& name, bool isInline = false) {
        HttpServerRequest head{.method = "POST", .path = "/compose/" + window_->window()->identifier() + "/attachments"};
        head.headers = {{"X-File-Name", name}, {"X-Inline", isInline ? "1" : "0"}};
        return attachmentUpload(host_.application(), head);
    }
    HttpServerResponse upload(const std::string& name, const std::string& content, bool isInline = false) {
        const auto sink = begin(name, isInline);
        for (std::size_t place = 0; place < content.size(); place += 50'000)
            EXPECT_TRUE(sink->take(std::string_view(content).substr(place, 50'000)));
        return sink->end();
    }

    TemporaryHost host_;
    std::shared_ptr<ComposeWindow> window_ = host_.compose("ada", "ben@example.org", "Plans", "See there.");
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
    AlertAnswers alerts;
    auto sink = begin("plans.zip");
    ASSERT_TRUE(sink->take("all"));
    window_->send();
    host_.settle();
    EXPECT_THAT(alerts.seen, testing::ElementsAre("“plans.zip” is not attached yet"));
    ASSERT_EQ(host_.application().composeWindows().size(), 1u);
    EXPECT_EQ(sink->end().status, 200);
    sink.reset();
    window_->send();
    host_.advance(30);
    ASSERT_EQ(host_.inboxOf("ben").size(), 1u);
    EXPECT_EQ(host_.inboxOf("ben").front().attachments, 1);
    EXPECT_EQ(alerts.seen.size(), 1u);
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
