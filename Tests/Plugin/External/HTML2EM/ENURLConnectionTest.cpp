// Documents from a web server, read by the parser as they come.
#include <gmock/gmock.h>

#include "ENMLSupport.h"
#include "ENXMLRecorder.h"
#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Platform.h"
#include "Support/ScriptedWebServer.h"

namespace qs {
namespace {

using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;

const std::string kLongText(300'000, 'x');

class DocumentFromTheNetwork : public ENMLTest {
protected:
    DocumentFromTheNetwork() {
        Platform::current().http = HttpClient::make({.userAgent = "Test/1", .certificates = {}});
    }
    ~DocumentFromTheNetwork() override { Platform::current().http.reset(); }

    std::string heardOf(WebAnswer answer) {
        answer_ = std::move(answer);
        recorder_.heard.clear();
        recorder_.errors.clear();
        wasRead_ = parser_.parseContentsOfURL(server_.url("/d.xml"));
        return recorder_.heard;
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    WebAnswer answer_;
    ScriptedWebServer server_{[this](const WebRequest& request) -> WebAnswer {
        if (request.path == "/moved") return {.status = 302, .headers = {{"Location", "/d.xml"}}, .body = "<moved/>"};
        return answer_;
    }};
    ENXMLRecorder recorder_;
    ENXMLSaxParser parser_{false, &recorder_};
    bool wasRead_ = false;
};

TEST_F(DocumentFromTheNetwork, IsReadByItsRequest) {
    answer_ = {.body = "<a>" + kLongText + "</a>"};
    EXPECT_TRUE(parser_.parseContentsOfURLWithRequest(
        {.method = "POST", .url = server_.url("/moved?x=1"), .headers = {{"Accept", "text/xml"}}, .body = "q"}));
    EXPECT_EQ(recorder_.heard, "{<a>" + kLongText + "</a>}");
    ASSERT_THAT(server_.requests(), SizeIs(2));
    EXPECT_EQ(server_.requests()[0].method, "POST");
    EXPECT_EQ(server_.requests()[0].query, "x=1");
    EXPECT_EQ(server_.requests()[0].body, "q");
    EXPECT_EQ(server_.requests()[1].header("Accept"), "text/xml");
    EXPECT_TRUE(parser_.isHalted());
    EXPECT_EQ(heardOf({.body = "<b/>"}), "{<b></b>}") << "the parser reads the next one too";
    EXPECT_TRUE(wasRead_);
}

TEST_F(DocumentFromTheNetwork, AnotherAnswerThanOkIsAFailure) {
    for (const int status : {404, 201, 304}) {
        EXPECT_EQ(heardOf({.status = status, .body = status == 304 ? "" : "<html>not it</html>"}), "!1002") << status;
        EXPECT_FALSE(wasRead_);
        ASSERT_THAT(recorder_.errors, SizeIs(1));
        EXPECT_EQ(recorder_.errors[0].domain, "ENXMLSaxParserErrorDomain");
        EXPECT_EQ(recorder_.errors[0].userInfo["response"].integerValue(), status);
    }
}

TEST_F(DocumentFromTheNetwork, ABrokenConnectionDoesNotEndIt) {
    EXPECT_THAT(heardOf({.body = "<a>x<b>" + kLongText + "</b></a>", .hangsUpAfter = 200'000}), StartsWith("{<a>x<b>"))
        << "what came is told";
    EXPECT_THAT(recorder_.heard, EndsWith("x!" + std::to_string(static_cast<int>(HttpError::ConnectionLost))));
    EXPECT_FALSE(wasRead_);
    ASSERT_THAT(recorder_.errors, SizeIs(1));
    EXPECT_EQ(recorder_.errors[0].domain, kHttpErrorDomain);
}

TEST_F(DocumentFromTheNetwork, CanBeStoppedFromInside) {
    recorder_.stopsAt = "b";
    EXPECT_EQ(heardOf({.body = "<a><b/>" + kLongText + "</a>"}), "{<a><b>");
    EXPECT_FALSE(wasRead_);
    loop_->runUntilIdle();
    EXPECT_EQ(recorder_.heard, "{<a><b>") << "nothing comes later";
}

TEST_F(DocumentFromTheNetwork, WhatTheDelegateThrowsComesOut) {
    recorder_.throwsAt = "b";
    answer_ = {.body = "<a><b/>" + kLongText + "</a>"};
    EXPECT_THROW(parser_.parseContentsOfURL(server_.url("/d.xml")), std::runtime_error);
    EXPECT_EQ(recorder_.heard, "{<a><b>");
}

TEST_F(DocumentFromTheNetwork, IsHeldToTheBoundsOfADocument) {
    answer_ = {.body = "<a>" + kLongText + "</a>"};
    ENXMLSaxParser parser(false, &recorder_, {.bytes = 100'000});
    EXPECT_FALSE(parser.parseContentsOfURL(server_.url("/d.xml")));
    EXPECT_THAT(recorder_.heard, EndsWith("!1003"));
}

TEST_F(DocumentFromTheNetwork, NeedsANetworkAnAddressAndADelegate) {
    EXPECT_FALSE(parser_.parseContentsOfURL(""));
    EXPECT_EQ(recorder_.heard, "");
    EXPECT_FALSE(parser_.parseContentsOfURL("ftp://127.0.0.1/d.xml"));
    EXPECT_EQ(recorder_.heard, "!" + std::to_string(static_cast<int>(HttpError::BadUrl)));
    Platform::current().http.reset();
    heardOf({.body = "<a/>"});
    EXPECT_EQ(recorder_.heard, "!" + std::to_string(static_cast<int>(HttpError::NotConnected)));
    parser_.setDelegate(nullptr);
    EXPECT_FALSE(parser_.parseContentsOfURL(server_.url("/d.xml")));
    EXPECT_THAT(server_.requests(), SizeIs(0));
}

}  // namespace
}  // namespace qs
