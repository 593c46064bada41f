// The account's record and its calls, against a backend that records.
#include "Account/BackendTest.h"
#include "Account/QSBackend.h"
#include "Foundation/PropertyList.h"
#include "Models/View.h"
#include "Services/NUKeychain.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Optional;

constexpr TimeInterval kMinute = 60, kHour = 3600, kDay = 86400;
constexpr const char* kProfile = R"({"id": 18, "name": "Ada", "email": null, "created_at": "2025-03-01 10:20:30",
    "allSignatureTemplates": [{"id": 1, "name": "Plain"}]})";

class UserTest : public BackendTest {
protected:
    QSQuillsteadUser& user() { return QSQuillsteadUser::me(); }
    // What came of it: "ok", or the error's code and text.
    QSQuillsteadUser::Completion note() {
        return [this](bool success, const std::optional<Error>& error) {
            EXPECT_EQ(success, !error.has_value());
            ends_.push_back(error ? std::to_string(error->code) + " " + error->description : "ok");
        };
    }
    std::string end() {
        host_->settle();
        std::string last = ends_.empty() ? "nothing" : ends_.back();
        ends_.clear();
        return last;
    }
    std::string fetch(bool now) {
        user().fetchRemoteInfoNow(now, note());
        return end();
    }
    std::vector<std::string> ends_;
};

TEST_F(UserTest, EveryCallAsksForWhatItNeedsFirst) {
    startWithBackend();
    const std::string missing = "4321 Email or password is missing for this Quillstead user.";
    const std::string unreachable =
        "4323 Cannot reach Quillstead server. Please check your internet connection and try again.";
    user().registerNewUserWithEmail("", "secret", note());
    EXPECT_EQ(end(), missing);
    user().attemptLoginWithEmail("ada@example.org", "", note());
    EXPECT_EQ(end(), missing);
    EXPECT_EQ(fetch(true), missing);
    EXPECT_THAT(log_.messages(LogLevel::Info), ::testing::Contains("Email or password is missing."));
    defaults().setObject("https://backend.example.org", "QSBackendURL");
    network_->set({.isReachable = false});
    user().registerNewUserWithEmail("ada@example.org", "secret", note());
    EXPECT_EQ(end(), unreachable);
    network_->set({.isReachable = true, .isInterventionRequired = true});
    user().attemptLoginWithEmail("ada@example.org", "secret", note());
    EXPECT_EQ(end(), unreachable) << "somebody has to sign in to the network first";
    EXPECT_THAT(log_.messages(LogLevel::Info), ::testing::Contains("Cannot reach Quillstead server."));
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(UserTest, RegistersWithAFormAndTellsWhatTheBackendRefuses) {
    startWithBackend();
    answers_["/api/v1/addUser"] = {.body = "{}"};
    user().registerNewUserWithEmail("ada@example.org", "a+b c", note());
    EXPECT_EQ(end(), "ok");
    const auto request = backend_.requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.form(),
              (std::map<std::string, std::string>{{"email", "ada@example.org"}, {"password", "a+b c"}}));
    EXPECT_EQ(request.header("Accept"), "application/json");
    EXPECT_THAT(request.header("X-Authorization"), ::testing::MatchesRegex("[0-9a-f]{32}"));
    EXPECT_FALSE(request.has("Authorization"));

    struct Case {
        const char *answer, *end;
    };
    for (const Case& c : {Case{R"({"email": ["taken", "odd"], "password": "short"})", "-1011 taken\nodd\nshort\n"},
                          Case{R"({"password": ["short"]})", "-1011 short\n"},
                          Case{"<html>", "-1011 Request failed: the server answered with status 422."}}) {
        answers_["/api/v1/addUser"] = {.status = 422, .body = c.answer};
        user().registerNewUserWithEmail("ada@example.org", "x", note());
        EXPECT_EQ(end(), c.end);
    }
    EXPECT_THAT(log_.messages(LogLevel::Error).at(0),
                HasSubstr("ERROR: Failed to create new account at Quillstead server: "));
    EXPECT_FALSE(user().hasCredentials()) << "registering signs nobody in";
}

TEST_F(UserTest, ALoginIsTriedWithTheGivenValuesAlone) {
    startWithBackend();
    answers_["/api/v1/profile"] = {.status = 401, .body = R"({"error": "No such user."})"};
    user().attemptLoginWithEmail("ada@example.org", "s3cret!", note());
    EXPECT_EQ(end(), "-1011 No such user.");
    answers_["/api/v1/profile"] = {.body = kProfile};
    user().attemptLoginWithEmail("ada@example.org", "s3cret!", note());
    EXPECT_EQ(end(), "ok");
    EXPECT_EQ(backend_.requests().at(1).header("Authorization"), basic());
    EXPECT_EQ(user().name, std::nullopt);
    EXPECT_FALSE(user().hasCredentials());
}

TEST_F(UserTest, AProfileIsTakenAndKeptWithoutThePassword) {
    startWithBackend();
    signIn();
    answers_["/api/v1/profile"] = {.body = kProfile};
    EXPECT_EQ(fetch(true), "ok");
    EXPECT_EQ(backend_.requests().at(0).header("Authorization"), basic());
    const auto check = [&](const char* when) {
        EXPECT_THAT(user().name, Optional(Eq("Ada"))) << when;
        EXPECT_EQ(user().userID, 18u) << when;
        EXPECT_THAT(user().registrationDate, Optional(Date{1'740'824'430})) << when;
        EXPECT_THAT(user().lastSyncDate, Optional(Date{1'700'000'000})) << when;
        EXPECT_EQ(user().signatureTemplates.array().at(0)["name"], Value("Plain")) << when;
        EXPECT_THAT(user().password, Optional(Eq("s3cret!"))) << when;
    };
    check("now");
    EXPECT_THAT(xmlPropertyList(defaults().setValues()), Not(HasSubstr("s3cret!")));
    EXPECT_THAT(defaults().objectForKey("QSQuillsteadUserKey").dataValue().bytes, Not(HasSubstr("s3cret!")));
    restart();
    check("after a restart");

    NUKeychain::removeKeychainItem("Quillstead", "ada@example.org");
    restart();
    EXPECT_FALSE(user().hasCredentials()) << "a record without its password begins anew";
    EXPECT_EQ(user().userID, 0u);
    EXPECT_THAT(user().email, Optional(Eq("ada@example.org"))) << "but the form offers the address again";
}

// A keychain that is locked until the test opens it.
class LockedKeychain : public Keychain {
public:
    explicit LockedKeychain(std::shared_ptr<Keychain> inner) : inner_(std::move(inner)) {}
    bool isLocked = true;
    Result<std::string> read(const KeychainName& name) override {
        if (isLocked) return failure(kKeychainErrorDomain, static_cast<int>(KeychainError::Locked), "It is locked.");
        return inner_->read(name);
    }
    Result<void> write(const KeychainName& name, std::string_view secret) override {
        return inner_->write(name, secret);
    }
    Result<void> remove(const KeychainName& name) override {
        ADD_FAILURE() << "nothing may be removed";
        return inner_->remove(name);
    }
    bool unlock() override { return false; }

private:
    std::shared_ptr<Keychain> inner_;
};

TEST_F(UserTest, ALockedKeychainSignsNobodyOut) {
    startWithBackend();
    signIn();
    answers_["/api/v1/profile"] = {.body = kProfile};
    EXPECT_EQ(fetch(true), "ok");
    std::shared_ptr<LockedKeychain> locked;
    MailBundleUnload();
    Platform::current().keychain = locked = std::make_shared<LockedKeychain>(Platform::current().keychain);
    load();
    EXPECT_FALSE(user().hasCredentials());
    EXPECT_EQ(user().userID, 18u) << "the record stays";
    locked->isLocked = false;
    EXPECT_EQ(fetch(true), "ok") << "and goes on when the keychain is open";
    EXPECT_TRUE(user().hasCredentials());
}

TEST_F(UserTest, APasswordGoesOutOverTlsOrNotAtAll) {
    startHost();
    struct Case {
        const char *setting, *base;
    };
    for (const Case& c : {Case{"https://backend.example.org//", "https://backend.example.org"},
                          Case{"http://127.0.0.1:80/", "http://127.0.0.1:80"},
                          Case{"http://[::1]:80", "http://[::1]:80"}, Case{"http://backend.example.org", ""},
                          Case{"http://127.0.0.1.example.org", ""}, Case{"http://localhost@example.org", ""},
                          Case{"ftp://localhost", ""}, Case{"localhost", ""}, Case{"https://", ""}}) {
        defaults().setObject(c.setting, "QSBackendURL");
        EXPECT_EQ(QSBackend::baseURL(), c.base) << c.setting;
    }
}

TEST_F(UserTest, AProfileOfLessThanSixHoursIsGoodEnough) {
    startWithBackend();
    signIn();
    answers_["/api/v1/profile"] = {.body = kProfile};
    answers_["/api/v1/properties"] = answers_["/api/v1/device"] = {.body = "{}"};
    EXPECT_EQ(fetch(false), "ok");
    host_->loop().advance(6 * kHour - kMinute);
    const auto before = count("GET /api/v1/profile");
    EXPECT_EQ(fetch(false), "ok");
    EXPECT_EQ(count("GET /api/v1/profile"), before);
    host_->loop().advance(kMinute);
    EXPECT_EQ(fetch(false), "ok");
    EXPECT_EQ(count("GET /api/v1/profile"), before + 1);
    EXPECT_EQ(fetch(true), "ok");
    EXPECT_EQ(count("GET /api/v1/profile"), before + 2) << "asked for now";
}

TEST_F(UserTest, OnlyARefusalOrALongSilenceSignsOut) {
    startWithBackend();
    const auto begin = [&] {
        signIn();
        user().userID = 1;
        user().lastSyncDate = host_->loop().now();
    };
    begin();
    answers_["/api/v1/profile"] = {.status = 500, .body = R"({"error": "Out of order."})"};
    user().lastSyncDate = host_->loop().now() - 2 * kDay;
    EXPECT_EQ(fetch(true), "-1011 Out of order.");
    EXPECT_TRUE(user().hasCredentials());
    user().lastSyncDate = host_->loop().now() - 4 * kDay;
    EXPECT_EQ(fetch(true), "-1011 Out of order.");
    EXPECT_FALSE(user().hasCredentials());
    EXPECT_EQ(NUKeychain::passwordFromKeychainItem("Quillstead", "ada@example.org"), std::nullopt);

    begin();
    answers_["/api/v1/profile"] = {.status = 401, .body = "{}"};
    fetch(true);
    EXPECT_FALSE(user().hasCredentials()) << "refused";
    EXPECT_THAT(user().lastSyncDate, Optional(Date{0}));
}

TEST_F(UserTest, FactsAboutTheSurroundingsGoOutOnceInThreeDays) {
    startWithBackend();
    signIn();
    host_->receive("ada", "Ben <ben@example.org>", "1", "Text.");
    answers_["/api/v1/profile"] = {.body = kProfile};
    answers_["/api/v1/properties"] = answers_["/api/v1/device"] = {.body = "{}"};
    fetch(true);
    host_->loop().advance(29);
    EXPECT_EQ(count("POST /api/v1/properties"), 0u) << "half a minute later";
    host_->loop().advance(2);
    ASSERT_EQ(count("POST /api/v1/properties"), 1u);
    ASSERT_EQ(count("POST /api/v1/device"), 1u);
    for (const WebRequest& request : backend_.requests()) {
        if (request.path == "/api/v1/properties") {
            auto form = request.form();
            EXPECT_EQ(form["number_of_accounts"], "2");
            EXPECT_EQ(form["number_of_emails_in_inbox"], "1");
            EXPECT_FALSE(form.contains("number_of_sent_emails_per_week")) << "nothing was sent";
            EXPECT_EQ(request.header("Authorization"), basic());
        }
        if (request.path == "/api/v1/device") {
            EXPECT_EQ(request.form()["osx_version"], "10.12.0");
        }
    }
    user().transmitUserProperties();
    host_->settle();
    EXPECT_EQ(count("POST /api/v1/properties"), 1u);
    host_->loop().advance(3 * kDay + kMinute);
    EXPECT_EQ(count("POST /api/v1/properties"), 2u);
}

TEST_F(UserTest, WithoutABackendNobodyIsAskedAnything) {
    startHost();
    EXPECT_FALSE(QSBackend::isConfigured());
    delegate().applicationDidBecomeActive();
    host_->advance(60);
    EXPECT_EQ(host_->application().mainWindow()->currentSheet(), nullptr);
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
}

}  // namespace
}  // namespace qs
