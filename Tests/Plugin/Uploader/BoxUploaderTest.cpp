// Linking and uploading at Box, against a server that records what it is asked.
#include <fstream>

#include "External/AFOAuth2Manager/AFOAuthCredential.h"
#include "Http/HttpClient.h"
#include "Keychain/Keychain.h"
#include "PluginTest.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Support/ScriptedWebServer.h"
#include "Support/TemporaryFolder.h"
#include "Uploader/QSUploader.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr int kBox = 6;

class BoxUploaderTest : public PluginTest, public QSUploaderDelegate, public QSServiceSlaveAuthenticationDelegate {
protected:
    void SetUp() override {
        startHost();
        Platform::current().http = HttpClient::make({.userAgent = "Test", .certificates = {}});
        Platform::current().keychain = Keychain::vault({host_->dataFolder() / "Keychain", {}, nullptr});
        configure("quillstead://box-redirect");
        service_ = QSServicesManager::sharedManager().addServiceOfType(kBox);
        answers_["/oauth2/token"] =
            R"({"access_token": "a1", "refresh_token": "r1", "token_type": "bearer", "expires_in": 3600})";
        answers_["/2.0/folders/0/items"] = R"({"entries": [{"type": "file", "name": "Quillstead", "id": "1"},
                                               {"type": "folder", "name": "Quillstead", "id": "77"}]})";
    }
    void configure(const std::string& redirect) {
        const std::string host = server_.url("");
        defaults().setObject(Dictionary{{"Box", Dictionary{{"ClientID", "id"},
                                                           {"ClientSecret", "secret"},
                                                           {"AccountHost", host},
                                                           {"APIHost", host},
                                                           {"UploadHost", host},
                                                           {"Redirect", redirect}}}},
                             "QSServiceConfiguration");
    }
    QSUploader& worker() {
        auto& made = dynamic_cast<QSUploader&>(service_->slave());
        made.setDelegate(delegate_);
        made.setAuthDelegate(authDelegate_);
        return made;
    }
    void link() {
        worker().authenticate();
        host_->application().openAddress("quillstead://box-redirect?state=authenticated&code=c0de");
        host_->settle();
    }
    std::vector<std::string> asked() {
        std::vector<std::string> lines;
        for (const auto& request : server_.requests())
            lines.push_back(request.method + " " + request.path);
        return lines;
    }

    void uploadFailedWithStatus(std::int32_t status, const Error& error) override {
        ends_.push_back("failed " + std::to_string(status) + " " + error.description);
    }
    void createdLink(const std::string& link, const std::string& file, const std::string& icon) override {
        ends_.push_back("link " + link + " " + std::filesystem::path(file).filename().string() + icon);
        EXPECT_FALSE(worker().busy());
    }
    void didFinishAuthenticationWithError(const std::optional<Error>& error) override {
        ends_.push_back(error ? "auth " + error->domain + " " + std::to_string(error->code) : "auth");
    }

    std::map<std::string, std::string> answers_;
    ScriptedWebServer server_{[this](const WebRequest& request) -> WebAnswer {
        const auto found = answers_.find(request.path);
        if (found == answers_.end()) return {.status = 404};
        return {.body = found->second};
    }};
    QSServiceRef service_;
    // Both are this test, which outlives the plug-in.
    std::shared_ptr<QSUploaderDelegate> delegate_{std::shared_ptr<void>(), this};
    std::shared_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate_{std::shared_ptr<char>(new char), this};
    std::vector<std::string> ends_;
};

TEST_F(BoxUploaderTest, LinksByTheBrowserAndFindsItsFolder) {
    link();
    EXPECT_THAT(workspace_->openedUrls,
                ElementsAre(server_.url("/api/oauth2/authorize?response_type=code&client_id=id&state=authenticated")));
    EXPECT_EQ(server_.requests().at(0).form(),
              (std::map<std::string, std::string>{{"grant_type", "authorization_code"},
                                                  {"code", "c0de"},
                                                  {"redirect_uri", "quillstead://box-redirect"},
                                                  {"client_id", "id"},
                                                  {"client_secret", "secret"}}));
    EXPECT_EQ(server_.requests().at(1).header("Authorization"), "Bearer a1");
    EXPECT_TRUE(service_->linked());
    EXPECT_EQ(service_->credentials()["QSBoxFolderId"], Value("77"));
    EXPECT_EQ(AFOAuthCredential::retrieveCredentialWithIdentifier(*service_->uniqueIdentifier())->refreshToken(), "r1");
}

TEST_F(BoxUploaderTest, MakesItsFolderOrSaysThatItCannot) {
    answers_["/2.0/folders/0/items"] = R"({"entries": []})";
    answers_["/2.0/folders"] = R"({"id": "88"})";
    link();
    EXPECT_EQ(server_.requests().back().body, R"({"name":"Quillstead","parent":{"id":"0"}})");
    EXPECT_EQ(service_->credentials()["QSBoxFolderId"], Value("88"));
    service_->markAsLinked(false);
    answers_["/2.0/folders"] = "{}";
    link();
    EXPECT_FALSE(service_->linked());
    answers_["/2.0/folders/0/items"] = R"({"entries": [{"type": "folder", "name": "Quillstead"}]})";
    const auto before = asked().size();
    link();
    EXPECT_EQ(asked().size(), before + 2) << "a folder without an id ends it without another word";
    service_->markAsLinked(false);
    answers_["/oauth2/token"] = R"({"error": "invalid_grant"})";
    ends_.clear();
    link();
    EXPECT_FALSE(service_->linked());
    EXPECT_THAT(ends_, ElementsAre("auth com.alamofire.networking.oauth2.error -1"));
}

TEST_F(BoxUploaderTest, ARegistrationForTheLoopbackIsGuardedByItsOwnState) {
    configure("http://127.0.0.1/box-redirect");
    worker().authenticate();
    const std::string page = workspace_->openedUrls.at(0);
    EXPECT_THAT(page, HasSubstr("&redirect_uri=http%3A%2F%2F127.0.0.1%3A"));
    const auto piece = [&](const std::string& from, const std::string& to) {
        const auto start = page.find(from) + from.size();
        return page.substr(start, page.find(to, start) - start);
    };
    const std::string address = "http://127.0.0.1:" + piece("127.0.0.1%3A", "%2F") + "/box-redirect";
    const auto browse = [&](const std::string& query) {
        int status = 0;
        Platform::current().http->send({.url = address + query}, [&](const Result<HttpResponse>& answer) {
            status = answer ? answer->status : -1;
        });
        host_->settle();
        return status;
    };
    EXPECT_EQ(browse("?code=foreign&state=guessed"), 404);
    EXPECT_EQ(browse(""), 404);
    EXPECT_THAT(asked(), IsEmpty());
    EXPECT_EQ(browse("?code=c0de&state=" + piece("&state=", "&")), 200);
    EXPECT_TRUE(service_->linked());
    EXPECT_EQ(server_.requests().at(0).form().at("redirect_uri"), address);
    EXPECT_EQ(browse("?code=again&state=" + piece("&state=", "&")), -1) << "the listener is gone";
}

TEST_F(BoxUploaderTest, AFileGetsAFreeNameAndALink) {
    link();
    TemporaryFolder folder;
    const std::string path = (folder / "a.txt").string();
    std::ofstream(path) << "content";
    answers_["/2.0/folders/77/items"] = R"({"entries": [{"type": "file", "name": "a.txt"}, {"type": "file",
        "name": "a_1.txt"}, {"type": "folder", "name": "a_3.txt"}, {"type": "file", "name": "a_2.txt"}]})";
    answers_["/api/2.0/files/content"] = R"({"entries": [{"id": "5"}]})";
    answers_["/2.0/files/5"] = R"({"shared_link": {"url": "https://box.example/s/5"}})";
    ends_.clear();
    for (const bool isPublic : {true, false}) {
        EXPECT_TRUE(worker().uploadFile(path, isPublic, false));
        EXPECT_FALSE(worker().uploadFile(path, isPublic, false)) << "one at a time";
        host_->settle();
        EXPECT_EQ(server_.requests().back().body,
                  isPublic ? R"({"shared_link":{"access":"open"}})" : R"({"shared_link":{"access":"{}"}})");
    }
    const std::string body = server_.requests().at(server_.requests().size() - 2).body;
    EXPECT_THAT(body, HasSubstr("name=\"parent_id\"\r\n\r\n77\r\n"));
    EXPECT_THAT(body,
                HasSubstr("name=\"filename\"; filename=\"a_3.txt\"\r\nContent-Type: text/plain\r\n\r\ncontent\r\n"));
    EXPECT_THAT(ends_, ElementsAre("link https://box.example/s/5 a.txt", "link https://box.example/s/5 a.txt"));

    answers_["/api/2.0/files/content"] = R"({"entries": [{"id": "5"}, {"id": "6"}]})";
    worker().uploadFile(path, true, false);
    host_->settle();
    EXPECT_EQ(ends_.back(), "failed 0 Unknown problem during upload.");
    worker().uploadFile((folder / "not there").string(), true, false);
    host_->settle();
    EXPECT_THAT(ends_.back(), StartsWith("failed 0 "));
    EXPECT_FALSE(worker().allowsRawAccess());
}

TEST_F(BoxUploaderTest, AnExpiredTokenIsRenewedAndARefusalUnlinks) {
    link();
    host_->advance(3601);
    answers_["/oauth2/token"] = R"({"access_token": "a2", "token_type": "bearer", "expires_in": 10})";
    worker().sync();
    host_->settle();
    const std::string identifier = *service_->uniqueIdentifier();
    EXPECT_EQ(AFOAuthCredential::retrieveCredentialWithIdentifier(identifier)->accessToken(), "a2");
    EXPECT_EQ(AFOAuthCredential::retrieveCredentialWithIdentifier(identifier)->refreshToken(), "r1");
    EXPECT_TRUE(service_->linked());
    host_->advance(11);
    answers_.erase("/oauth2/token");
    worker().sync();
    host_->settle();
    EXPECT_FALSE(service_->linked());
    EXPECT_THAT(log_.messages(LogLevel::Error).back(), HasSubstr("An error occurred refreshing credential: "));
}

TEST_F(BoxUploaderTest, SigningOutRevokesAndForgetsTheTokenOnlyThen) {
    link();
    const std::string identifier = *service_->uniqueIdentifier();
    worker().deauthenticate();
    host_->settle();
    EXPECT_THAT(log_.messages(LogLevel::Error).back(), HasSubstr("Could not revoke access to box: "));
    EXPECT_TRUE(AFOAuthCredential::retrieveCredentialWithIdentifier(identifier));
    answers_["/oauth2/revoke"] = "";
    worker().deauthenticate();
    host_->settle();
    EXPECT_EQ(server_.requests().back().form(),
              (std::map<std::string, std::string>{{"client_id", "id"}, {"client_secret", "secret"}, {"token", "a1"}}));
    EXPECT_FALSE(AFOAuthCredential::retrieveCredentialWithIdentifier(identifier));
}

}  // namespace
}  // namespace qs
