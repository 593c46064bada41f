#include <gmock/gmock.h>

#include "BackendFixture.h"
#include "Foundation/FileSystem.h"
#include "Store/SqlConnection.h"
#include "Text/Digests.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class BackendAccounts : public BackendFixture {
protected:
    BackendAccounts() { start(); }
    std::string value(const std::string& sql) {
        const auto rows = SqlConnection::openSqlite(configuration_.databaseFile)->run(sql);
        return rows.empty() ? "(none)" : rows[0].text(0);
    }
    const Person ada_{.email = "ada@example.org"};
};

TEST_F(BackendAccounts, NeedTheButtonBehindTheLetter) {
    const std::string link = signUp({.email = " Ada@Example.ORG "});
    Reply early = getAs(ada_, "/api/v1/profile");
    EXPECT_EQ(early.status, 401);
    EXPECT_THAT(early.json()["error"].stringValue(), HasSubstr("confirm"));
    EXPECT_THAT(getAs({ada_.email, "guess"}, "/api/v1/profile").json()["error"].stringValue(),
                Not(HasSubstr("confirm")))
        << "only who knows the password is told";

    const Reply page = get(link);
    EXPECT_EQ(page.status, 200);
    EXPECT_THAT(page.body, AllOf(HasSubstr("<form"), Not(HasSubstr("<script"))));
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 401) << "opening a link changes nothing";

    EXPECT_EQ(post("/confirm", "token=" + tokenIn(link)).status, 200);
    const Reply profile = getAs(ada_, "/api/v1/profile");
    EXPECT_EQ(profile.status, 200);
    EXPECT_EQ(profile.headers.at("content-type"), "application/json");
    EXPECT_GT(profile.json()["id"].integerValue(), 0);
    EXPECT_EQ(profile.json()["email"].stringValue(), "ada@example.org");
    EXPECT_EQ(profile.json()["created_at"].stringValue(), "2023-11-14 22:13:20");
    EXPECT_EQ(post("/confirm", "token=" + tokenIn(link)).status, 410) << "a link works once";
}

TEST_F(BackendAccounts, RefuseWhatIsNoCredential) {
    makeAccount(ada_);
    for (const Person& wrong : {Person{ada_.email, "wrong horse"}, Person{"bob@example.org"}, Person{"", ""},
                                Person{"ada@example.org' OR '1'='1"}}) {
        const Reply reply = getAs(wrong, "/api/v1/profile");
        EXPECT_EQ(reply.status, 401) << wrong.email;
        EXPECT_EQ(reply.json()["error"].stringValue(), "The email address or the password is wrong.");
    }
    for (const char* header : {"Basic", "Basic !!!", "Bearer abc", "Basic YWRh"})
        EXPECT_EQ(ask({.path = "/api/v1/profile", .headers = {{"Authorization", header}}}).status, 401) << header;
    for (const char* path : {"/api/v1/properties", "/api/v1/device", "/api/v1/tracking"})
        EXPECT_EQ(post(path, "country=Germany").status, 401) << path;
    EXPECT_EQ(get("/api/v1/tracking").status, 401);
}

TEST_F(BackendAccounts, SayWhatIsWrongWithASignUp) {
    struct Case {
        const char* form;
        const char* key;
        const char* text;
    };
    for (const Case& c : {Case{"password=secret1", "email", "The email address is missing."},
                          Case{"email=ada&password=secret1", "email", "This is no email address."},
                          Case{"email=a%0D%0ABcc:x@y.org&password=secret1", "email", "This is no email address."},
                          Case{"email=z%C3%B6@example.org&password=secret1", "email", "This is no email address."},
                          Case{"email=a@example.org", "password", "The password is missing."},
                          Case{"email=a@example.org&password=%C3%B6%C3%B6%C3%B6", "password",
                               "The password must have at least 6 characters."}}) {
        const Reply reply = post("/api/v1/addUser", c.form);
        EXPECT_EQ(reply.status, 422) << c.form;
        ASSERT_THAT(reply.json()[c.key].array(), SizeIs(1)) << c.form;
        EXPECT_EQ(reply.json()[c.key].array()[0].stringValue(), c.text);
    }
    EXPECT_THAT(takeLetters(), IsEmpty());
}

TEST_F(BackendAccounts, DontTellStrangersWhoHasOne) {
    makeAccount(ada_);
    const Reply known = post("/api/v1/addUser", "email=ada@example.org&password=something+else");
    const auto lettersToKnown = takeLetters();
    const Reply unknown = post("/api/v1/addUser", "email=bob@example.org&password=something+else");
    EXPECT_EQ(known.status, unknown.status);
    EXPECT_EQ(known.json()["status"], unknown.json()["status"]);
    ASSERT_THAT(lettersToKnown, SizeIs(1));
    EXPECT_THAT(lettersToKnown[0], HasSubstr("You have a Quillstead account already"));
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 200) << "nothing changed";
    takeLetters();

    const Reply knownReset = post("/password/email", "email=ada@example.org");
    const Reply unknownReset = post("/password/email", "email=nobody@example.org");
    EXPECT_EQ(knownReset.status, 200);
    EXPECT_EQ(knownReset.head, unknownReset.head);
    EXPECT_EQ(knownReset.body, unknownReset.body);
    EXPECT_THAT(takeLetters(), ElementsAre(HasSubstr("To: ada@example.org")));
}

TEST_F(BackendAccounts, GetThePasswordOfWhoeverReadsTheAddress) {
    const Person stranger{.email = ada_.email, .password = "stranger's"};
    const std::string strangersLink = signUp(stranger);
    const std::string adasLink = signUp(ada_);
    EXPECT_EQ(post("/confirm", "token=" + tokenIn(adasLink)).status, 200);
    EXPECT_EQ(post("/confirm", "token=" + tokenIn(strangersLink)).status, 410);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 200);
    EXPECT_EQ(getAs(stranger, "/api/v1/profile").status, 401);
}

TEST_F(BackendAccounts, ForgetSignUpsThatNobodyConfirms) {
    const std::string link = signUp(ada_);
    jump(2 * 86'400 + 1);
    EXPECT_EQ(get(link).status, 410);
    EXPECT_EQ(post("/confirm", "token=" + tokenIn(link)).status, 410);
    loop_->advance(3600);
    EXPECT_EQ(value("SELECT token FROM sign_ups"), "(none)");
}

TEST_F(BackendAccounts, TakeANewPasswordByLetter) {
    makeAccount(ada_);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 200);
    EXPECT_THAT(get("/password/email").body, HasSubstr("<label for=\"email\">"));
    EXPECT_EQ(post("/password/email", "email=nonsense").status, 422);
    post("/password/email", "email=ada%40example.org");
    const auto letters = takeLetters();
    ASSERT_THAT(letters, SizeIs(1));
    const std::string link = linkIn(letters[0], "/password/reset"), token = tokenIn(link);
    EXPECT_THAT(get(link).body, HasSubstr(token));
    EXPECT_EQ(post("/password/reset", "token=" + token + "&password=short&confirmation=short").status, 422);
    EXPECT_EQ(post("/password/reset", "token=" + token + "&password=new+password&confirmation=other").status, 422);
    EXPECT_EQ(post("/password/reset", "token=00&password=new+password&confirmation=new+password").status, 410);
    EXPECT_EQ(post("/password/reset", "token=" + token + "&password=new+password&confirmation=new+password").status,
              200);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 401) << "the former one, although it was right a moment ago";
    EXPECT_EQ(getAs({ada_.email, "new password"}, "/api/v1/profile").status, 200);
    EXPECT_EQ(get(link).status, 410);

    post("/password/email", "email=ada%40example.org");
    const std::string late = linkIn(takeLetters().at(0), "/password/reset");
    loop_->advance(3601);
    EXPECT_EQ(get(late).status, 410);
}

TEST_F(BackendAccounts, KeepFactsAboutTheMachine) {
    makeAccount(ada_);
    EXPECT_EQ(postAs(ada_, "/api/v1/properties", "country=Germany&number_of_emails_in_inbox=3&something=else").status,
              200);
    EXPECT_EQ(value("SELECT value FROM properties WHERE name = 'number_of_emails_in_inbox'"), "3");
    EXPECT_EQ(value("SELECT value FROM properties WHERE name = 'something'"), "(none)");
    EXPECT_EQ(postAs(ada_, "/api/v1/properties", "country=France").status, 200);
    EXPECT_EQ(value("SELECT value FROM properties WHERE name = 'country'"), "France");
    EXPECT_EQ(value("SELECT value FROM properties WHERE name = 'number_of_emails_in_inbox'"), "(none)")
        << "a count that became 0 is not sent any more";
    EXPECT_EQ(postAs(ada_, "/api/v1/properties", "something=else").status, 422);

    for (const char* version : {"10.12.5", "10.12.6"})
        EXPECT_EQ(postAs(ada_, "/api/v1/device",
                         std::string("device_id=C02ABCDEF&mail_version=9+%281%29&osx_version=") + version)
                      .status,
                  200);
    EXPECT_EQ(value("SELECT osx_version FROM devices"), "10.12.6");
    EXPECT_EQ(value("SELECT mail_version FROM devices"), "9 (1)");
    EXPECT_EQ(value("SELECT 'two' FROM devices GROUP BY account HAVING COUNT(*) > 1"), "(none)");
    EXPECT_THAT(value("SELECT device FROM devices"), Not(HasSubstr("C02ABCDEF")));
    EXPECT_EQ(postAs(ada_, "/api/v1/device", "osx_version=10.12.6").status, 422);
}

TEST_F(BackendAccounts, SlowGuessingDown) {
    makeAccount(ada_);
    int status = 0, tries = 0;
    while (status != 429 && tries < 100) {
        status = getAs({ada_.email, "guess " + std::to_string(tries++)}, "/api/v1/profile").status;
        ASSERT_TRUE(status == 401 || status == 429) << status;
    }
    EXPECT_EQ(tries, 21);
    const Reply refused = getAs(ada_, "/api/v1/profile");
    EXPECT_EQ(refused.status, 429) << "the right password looks like any other now";
    EXPECT_TRUE(refused.headers.contains("retry-after"));
    loop_->advance(61);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 200);
    EXPECT_EQ(getAs({ada_.email, "guess"}, "/api/v1/profile").status, 401);
    EXPECT_EQ(getAs({ada_.email, "guess"}, "/api/v1/profile").status, 429);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 200) << "who signed in a moment ago is not locked out by others";
}

TEST_F(BackendAccounts, FloodNobodysMailbox) {
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(post("/api/v1/addUser", "email=ada@example.org&password=secret1").status, 200);
    EXPECT_THAT(takeLetters(), SizeIs(4));
    for (int i = 0; i < 10; ++i)
        post("/api/v1/addUser", "email=a" + std::to_string(i) + "@example.org&password=secret1");
    EXPECT_THAT(takeLetters(), SizeIs(10));
    const Reply refused = post("/api/v1/addUser", "email=z@example.org&password=secret1");
    EXPECT_EQ(refused.status, 429);
    EXPECT_THAT(refused.json()["email"].array(), SizeIs(1)) << "where the plug-in looks for a text";
    loop_->advance(3600);
    EXPECT_EQ(post("/api/v1/addUser", "email=z@example.org&password=secret1").status, 200);
}

TEST_F(BackendAccounts, HaveANameThatTheirOwnerGives) {
    makeAccount(ada_);
    EXPECT_EQ(post("/account", "email=ada@example.org&password=wrong&name=Mallory").status, 422);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").json()["name"].stringValue(), "");
    EXPECT_EQ(post("/account", "email=ada@example.org&password=correct+horse&name=Ada+%3CL%3E").status, 200);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").json()["name"].stringValue(), "Ada <L>");
    EXPECT_EQ(post("/account", "email=ada@example.org&password=correct+horse&name=" + std::string(300, 'x')).status,
              422);
}

TEST_F(BackendAccounts, ShowAPictureUntilItIsTakenAway) {
    makeAccount(ada_);
    const std::string picture = "/pictures/" + MD5Email("ada@example.org") + ".jpg";
    const auto ask = [&](const char* method, const std::string& body) {
        return BackendFixture::ask(
            {.method = method, .path = "/api/v1/picture", .body = body, .headers = signedBy(ada_)});
    };
    EXPECT_FALSE(getAs(ada_, "/api/v1/profile").json().dictionary().contains("privateAvatarURL"));
    EXPECT_EQ(get(picture).status, 404);
    EXPECT_EQ(ask("PUT", "no picture").status, 422);
    EXPECT_EQ(
        ask("PUT", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='9' height='9'/></svg>")
            .status,
        200);
    const Reply shown = get(picture);
    EXPECT_EQ(shown.status, 200);
    EXPECT_EQ(shown.headers.at("content-type"), "image/png");
    EXPECT_THAT(shown.body, HasSubstr("PNG"));
    const std::string url = getAs(ada_, "/api/v1/profile").json()["privateAvatarURL"].stringValue();
    ASSERT_THAT(url, HasSubstr("/avatars/"));
    EXPECT_EQ(get(url.substr(url.find("/avatars/"))).body, shown.body);
    EXPECT_EQ(get("/avatars/").status, 404);
    EXPECT_EQ(ask("DELETE", "").status, 200);
    EXPECT_EQ(get(picture).status, 404);
}

TEST_F(BackendAccounts, GoWithAllThatIsKeptOfThem) {
    makeAccount(ada_);
    postAs(ada_, "/api/v1/properties", "country=Germany");
    postAs(ada_, "/api/v1/tracking",
           R"({"pixels":[{"uuid":"0A1B2C3D-0000-4000-8000-00000000000A","messageID":"<1@example.org>"}]})");
    get("/tracking/0A1B2C3D-0000-4000-8000-00000000000A");
    loop_->advance(1);
    ASSERT_NE(value("SELECT ip FROM opens"), "(none)");
    EXPECT_EQ(post("/account/delete", "email=ada@example.org&password=wrong").status, 422);
    EXPECT_EQ(post("/account/delete", "email=ada@example.org&password=correct+horse").status, 200);
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").status, 401);
    for (const char* table : {"accounts", "properties", "pixels", "opens"})
        EXPECT_EQ(value(std::string("SELECT 'left' FROM ") + table), "(none)") << table;
}

TEST_F(BackendAccounts, OutliveARestart) {
    makeAccount(ada_);
    const auto id = getAs(ada_, "/api/v1/profile").json()["id"];
    const std::string link = signUp({.email = "bob@example.org"});
    restart();
    EXPECT_EQ(getAs(ada_, "/api/v1/profile").json()["id"], id);
    EXPECT_EQ(get(link).status, 200);
}

TEST_F(BackendAccounts, LeaveNoSecretInLogAndDatabase) {
    const std::string link = signUp(ada_);
    post("/confirm", "token=" + tokenIn(link));
    getAs(ada_, "/api/v1/profile");
    post("/password/email", "email=ada@example.org");
    const std::string reset = tokenIn(linkIn(takeLetters().at(0), "/password/reset"));
    stop();
    std::string all;
    for (const char* side : {"", "-wal"})
        all += FileSystem::real().read(configuration_.databaseFile.string() + side).value_or("");
    EXPECT_THAT(all, HasSubstr("ada@example.org")) << "this is where it would be";
    for (const std::string& message : log_.messages())
        all += message + "\n";
    EXPECT_EQ(all.find(ada_.password), std::string::npos);
    // The link of a letter waits in the database with the letter, and goes with it.
    const auto database = SqlConnection::openSqlite(configuration_.databaseFile);
    EXPECT_TRUE(database->run("SELECT 1 FROM letters").empty());
    EXPECT_TRUE(database->run("SELECT 1 FROM resets WHERE token = ?1", {reset}).empty());
}

}  // namespace
}  // namespace qs
