#include "Uploader/QSBoxUploader.h"

#include <set>

#include "External/AFNetworking/AFHTTPSessionManager.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Services/QSService.h"
#include "Services/QSServiceConfiguration.h"
#include "Text/Escapes.h"

namespace qs {

namespace {

constexpr std::int32_t kType = 6;
constexpr const char* kFolderName = "Quillstead";
constexpr const char* kFolderKey = "QSBoxFolderId";

std::string configured(std::string_view key) { return QSServiceConfiguration::forServiceType(kType).text(key); }

QSOAuthProvider provider() {
    const auto values = QSServiceConfiguration::forServiceType(kType);
    QSOAuthProvider made;
    made.authorizePage = [host = values.text("AccountHost"), client = values.text("ClientID"),
                          redirect = values.text("Redirect")](const std::string& redirectURI) {
        std::string page = host + "/api/oauth2/authorize?response_type=code&client_id=" + client;
        // The one that is registered needs no telling.
        if (redirectURI != redirect) page += "&redirect_uri=" + urlEncodedString(redirectURI);
        return page;
    };
    made.fixedState = "authenticated";
    made.tokenBase = values.text("APIHost");
    made.tokenPath = "/oauth2/token";
    made.clientID = values.text("ClientID");
    made.clientSecret = values.text("ClientSecret");
    made.redirect = values.text("Redirect");
    return made;
}

void logFailure(const char* format, const Error& error) { logError(stringWithFormat(format, {error.description})); }

// "a.txt", or "a_1.txt" and so on while that is taken.
std::string freeName(const std::filesystem::path& file, const std::set<std::string>& taken) {
    std::string extension = file.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    std::string name = file.filename().string();
    for (std::int64_t counter = 1; taken.contains(name); ++counter)
        name = stringWithFormat("%@_%ld.%@", {file.stem().string(), counter, extension});
    return name;
}

}  // namespace

QSBoxUploader::QSBoxUploader(std::weak_ptr<QSService> service) : QSUploader(service), account_(service, provider) {}

bool QSBoxUploader::respondsTo(QSSlaveOperation operation) const {
    return operation != QSSlaveOperation::AuthenticateWithWindow;
}

AFHTTPSessionManager QSBoxUploader::session(std::string_view hostKey) const {
    AFHTTPSessionManager manager(configured(hostKey));
    manager.requestSerializer().form = AFHTTPRequestSerializer::Form::Json;
    manager.requestSerializer().setValueForHTTPHeaderField("application/json", "Accept");
    manager.responseSerializer().removesKeysWithNullValues = true;
    if (const auto credential = account_.credential())
        manager.requestSerializer().setAuthorizationHeaderFieldWithCredential(*credential);
    return manager;
}

QSBoxUploader::Next QSBoxUploader::whileAlive(Next next) const {
    return [alive = std::weak_ptr(alive_), next = std::move(next)](const Value& answer) {
        if (!alive.expired()) next(answer);
    };
}

QSOAuthAccount::Failed QSBoxUploader::whileAlive(QSOAuthAccount::Failed failed) const {
    return [alive = std::weak_ptr(alive_), failed = std::move(failed)](const Error& error) {
        if (!alive.expired()) failed(error);
    };
}

void QSBoxUploader::authenticate() {
    if (const auto opened = account_.openPage(); !opened) linkFailed(opened.error());
}

void QSBoxUploader::authenticateWithCode(const std::optional<std::string>& code) {
    account_.redeem(
        code,
        [this] {
            account_.refreshAccessToken([this] { findFolder(); }, [this](const Error& error) { linkFailed(error); });
        },
        [this](const Error& error) { linkFailed(error); });
}

void QSBoxUploader::linkFailed(const Error& error) {
    logFailure("ERROR: %@", error);
    finishAuthentication(error);
}

void QSBoxUploader::findFolder() {
    auto next = whileAlive([this](const Value& answer) {
        for (const Value& entry : answer["entries"].array()) {
            if (entry["type"] != Value("folder") || entry["name"] != Value(kFolderName)) continue;
            // Without an id nothing more can be done with it, and nothing is.
            if (!entry["id"].isNil()) folderIsThere(entry["id"].stringValue());
            return;
        }
        makeFolder();
    });
    session("APIHost").GET(
        "/2.0/folders/0/items", {}, [next](const Value& answer, const HttpResponse&) { next(answer); },
        whileAlive([this](const Error& error) { linkFailed(error); }));
}

void QSBoxUploader::makeFolder() {
    auto next = whileAlive([this](const Value& answer) {
        if (answer["id"].isNil()) return finishAuthentication(uploaderError(1, "Could not create directory."));
        folderIsThere(answer["id"].stringValue());
    });
    session("APIHost").POST(
        "/2.0/folders", Dictionary{{"name", kFolderName}, {"parent", Dictionary{{"id", "0"}}}},
        [next](const Value& answer, const HttpResponse&) { next(answer); },
        whileAlive([this](const Error& error) { linkFailed(error); }));
}

void QSBoxUploader::folderIsThere(const std::string& identifier) {
    if (const auto service = this->service()) service->credentials()[kFolderKey] = identifier;
    finishAuthentication(std::nullopt);
}

std::string QSBoxUploader::folder() const {
    const auto service = this->service();
    return service ? Value(service->credentials())[kFolderKey].stringValue() : std::string();
}

void QSBoxUploader::deauthenticate() {
    const auto service = this->service();
    const auto credential = account_.credential();
    if (!service || !credential) return;
    AFHTTPSessionManager manager(configured("APIHost"));
    manager.requestSerializer().setValueForHTTPHeaderField("application/json", "Accept");
    manager.POST(
        "/oauth2/revoke",
        Dictionary{{"client_id", configured("ClientID")},
                   {"client_secret", configured("ClientSecret")},
                   {"token", credential->accessToken().value_or("")}},
        [identifier = service->uniqueIdentifier().value_or("")](const Value&, const HttpResponse&) {
            AFOAuthCredential::deleteCredentialWithIdentifier(identifier);
        },
        [](const Error& error) { logFailure("Could not revoke access to box: %@", error); });
}

void QSBoxUploader::sync() { account_.refreshAccessToken(nullptr, nullptr); }

bool QSBoxUploader::uploadFile(const std::string& path, bool createPublicLink, bool) {
    if (!beginTransfer(path)) return false;
    const auto failed = whileAlive([this](const Error& error) { failTransfer(error); });
    const auto list = whileAlive([this, path, createPublicLink](const Value&) {
        auto next = whileAlive([=, this](const Value& listing) { chooseName(listing, path, createPublicLink); });
        session("APIHost").GET(
            stringWithFormat("/2.0/folders/%@/items", {folder()}), {},
            [next](const Value& answer, const HttpResponse&) { next(answer); },
            whileAlive([this](const Error& error) { uploadFailed("UPLOAD", error); }));
    });
    account_.refreshAccessToken([list] { list({}); }, failed);
    return true;
}

void QSBoxUploader::chooseName(const Value& listing, const std::string& path, bool createPublicLink) {
    std::set<std::string> taken;
    for (const Value& entry : listing["entries"].array())
        if (entry["type"] == Value("file")) taken.insert(entry["name"].stringValue());
    send(freeName(path, taken), path, createPublicLink);
}

void QSBoxUploader::send(const std::string& name, const std::string& path, bool createPublicLink) {
    const auto content = FileSystem::real().read(path);
    if (!content) return uploadFailed("UPLOAD", content.error());
    auto next = whileAlive([=, this](const Value& answer) { share(answer, createPublicLink); });
    const auto task = std::make_shared<HttpTaskRef>();
    const auto progress = [this, alive = std::weak_ptr(alive_), task](std::uint64_t sent, std::uint64_t total) {
        if (alive.expired() || total == 0) return;
        continueTransfer(static_cast<double>(sent) / static_cast<double>(total), task->get());
    };
    *task = session("UploadHost")
                .POST(
                    "/api/2.0/files/content",
                    {{.name = "parent_id", .content = folder()},
                     {.name = "filename",
                      .fileName = name,
                      .mimeType = MIMETypeFileName(name, "binary/octet-stream"),
                      .content = *content}},
                    [next](const Value& answer, const HttpResponse&) { next(answer); },
                    whileAlive([this](const Error& error) { uploadFailed("UPLOAD", error); }), progress);
}

void QSBoxUploader::share(const Value& answer, bool createPublicLink) {
    const Array& entries = answer["entries"].array();
    if (entries.size() != 1) return failTransfer(uploaderError(0, "Unknown problem during upload."));
    auto next = whileAlive([this](const Value& shared) { endTransfer(shared["shared_link"]["url"].stringValue()); });
    session("APIHost").PUT(
        stringWithFormat("/2.0/files/%@", {entries.front()["id"]}),
        Dictionary{{"shared_link", Dictionary{{"access", createPublicLink ? "open" : "{}"}}}},
        [next](const Value& shared, const HttpResponse&) { next(shared); },
        whileAlive([this](const Error& error) { uploadFailed("SHARING", error); }));
}

void QSBoxUploader::uploadFailed(const char* step, const Error& error) {
    logError(stringWithFormat("%@ FAILURE: %@", {step, error.description}));
    failTransfer(error);
}

}  // namespace qs
