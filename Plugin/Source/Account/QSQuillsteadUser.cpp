#include "Account/QSQuillsteadUser.h"

#include <utility>

#include "Account/QSBackend.h"
#include "Core/PluginColor.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPluginImage.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Json.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RunLoop.h"
#include "Images/ImageDecoder.h"
#include "Models/ModelChanges.h"
#include "Platform.h"
#include "Services/NUKeychain.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr std::string_view kArchiveKey = "QSQuillsteadUserKey", kNewVersionKey = "QSQuillsteadNewVersion";
constexpr std::string_view kKeychainLabel = "Quillstead";
constexpr TimeInterval kProfileIsFresh = 21600, kRecordIsStale = 259200, kPropertiesInterval = 259200;
constexpr TimeInterval kTransmissionDelay = 30;
constexpr Date kLongAgo{0};
constexpr std::size_t kSmallestPicture = 21;  // bytes
constexpr double kRingWidth = 10;

bool isSet(const std::optional<std::string>& text) { return text && !text->empty(); }

std::optional<std::string> textOf(const Value& value) {
    return value.isNil() ? std::nullopt : std::optional(value.stringValue());
}

Error missingCredentials() {
    return {std::string(QSErrorDomain),
            QSErrorMissingCredentials,
            QSLocalizedString("Email or password is missing for this Quillstead user."),
            {}};
}

Error unreachable() {
    return {std::string(QSErrorDomain),
            QSErrorUnreachable,
            QSLocalizedString("Cannot reach Quillstead server. Please check your internet connection and try again."),
            {}};
}

void complete(const QSQuillsteadUser::Completion& completion, const std::optional<Error>& error) {
    if (completion) completion(!error, error);
}

// What stands in the way of a call; nothing when it can be made.
std::optional<Error> obstacle(bool hasCredentials) {
    if (!hasCredentials) {
        logInfo("Email or password is missing.");
        return missingCredentials();
    }
    if (QSBackend::isReachable()) return std::nullopt;
    logInfo("Cannot reach Quillstead server.");
    return unreachable();
}

// The answer to a refused request; nil when it is no JSON.
Value answerOf(const Error& error) {
    const auto body = error.userInfo.find(AFNetworkingOperationFailingURLResponseDataErrorKey);
    if (body == error.userInfo.end()) return {};
    return parseJson(body->second.dataValue().bytes, JsonNulls::Drop).value_or(Value());
}

Error withDescription(const Error& error, std::string description) {
    return {std::string(QSErrorDomain), error.code, std::move(description), {}};
}

// As the backend says it, if it says something.
Error refusal(const Error& error) {
    const Value said = answerOf(error)["error"];
    return said.isNil() ? error : withDescription(error, said.stringValue());
}

// What is wrong with the address and the password, a line each.
Error registrationRefusal(const Error& error) {
    const Value answer = answerOf(error);
    std::string text;
    for (const char* field : {"email", "password"}) {
        const Value& said = answer[field];
        if (said.isNil()) continue;
        std::string lines = said.stringValue();
        for (const Value& line : said.array())
            lines += (lines.empty() ? "" : "\n") + line.stringValue();
        text += lines + "\n";
    }
    return text.empty() ? error : withDescription(error, std::move(text));
}

}  // namespace

QSQuillsteadUser& QSQuillsteadUser::me() { return QSSession::current().part<QSQuillsteadUser>(); }

QSQuillsteadUser::QSQuillsteadUser() {
    const Value archive = QSPluginDelegate::quillsteadDefaults().objectForKey(kArchiveKey);
    if (archive.isNil()) return;
    if (auto read = parsePropertyList(archive.dataValue().bytes))
        unarchive(*read);
    else
        logError("The account's record can't be read: " + read.error().description);
}

bool QSQuillsteadUser::hasCredentials() const { return isSet(email) && isSet(password); }

Value QSQuillsteadUser::archived() const {
    Dictionary archive{{"userID", static_cast<std::int64_t>(userID)}};
    for (const auto& [key, text] : {std::pair{"email", &email}, {"name", &name}, {"avatarURL", &avatarURL}})
        if (*text) archive.emplace(key, **text);
    for (const auto& [key, date] : {std::pair{"registrationDate", &registrationDate},
                                    {"lastSyncDate", &lastSyncDate},
                                    {"lastPropertiesTransmissionDate", &lastPropertiesTransmissionDate}})
        if (*date) archive.emplace(key, **date);
    if (!signatureTemplates.isNil()) archive.emplace("signatureTemplates", signatureTemplates);
    return archive;
}

void QSQuillsteadUser::unarchive(const Value& archive) {
    userID = static_cast<std::uint64_t>(archive["userID"].integerValue());
    email = textOf(archive["email"]);
    name = textOf(archive["name"]);
    avatarURL = textOf(archive["avatarURL"]);
    registrationDate = archive["registrationDate"].dateValue();
    lastSyncDate = archive["lastSyncDate"].dateValue();
    lastPropertiesTransmissionDate = archive["lastPropertiesTransmissionDate"].dateValue();
    signatureTemplates = archive["signatureTemplates"];
    readPassword();
    if (hasCredentials())
        _fetchAvatarImage();
    else if (!isSet(email) || NUKeychain::isMissingKeychainItem(kKeychainLabel, *email))
        resetUser();
    else
        isLocked_ = true;
    if (QSPluginDelegate::quillsteadDefaults().boolForKey(kNewVersionKey)) lastPropertiesTransmissionDate = kLongAgo;
}

void QSQuillsteadUser::readPassword() {
    if (isSet(email)) password = NUKeychain::passwordFromKeychainItem(kKeychainLabel, *email);
}

void QSQuillsteadUser::save() {
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    defaults.setObject(Data{xmlPropertyList(archived())}, kArchiveKey);
    if (auto written = defaults.synchronize(); !written)
        logError("The account's record could not be saved: " + written.error().description);
}

void QSQuillsteadUser::resetUser() {
    isLocked_ = false;
    userID = 0;
    name.reset();
    avatarURL.reset();
    avatarImage_.reset();
    password.reset();
    lastSyncDate = lastPropertiesTransmissionDate = kLongAgo;
    if (isSet(email)) NUKeychain::removeKeychainItem(kKeychainLabel, *email);
}

void QSQuillsteadUser::savePasswordInKeychain() {
    if (hasCredentials()) NUKeychain::setPassword(*password, kKeychainLabel, *email);
}

void QSQuillsteadUser::registerNewUserWithEmail(const std::string& newEmail, const std::string& withPassword,
                                                Completion completion) {
    if (auto error = obstacle(!newEmail.empty() && !withPassword.empty())) return complete(completion, error);
    QSBackend::manager().POST(
        "/api/v1/addUser", Dictionary{{"email", newEmail}, {"password", withPassword}},
        [completion](const Value&, const HttpResponse&) { complete(completion, std::nullopt); },
        [completion](const Error& error) {
            logError(
                stringWithFormat("ERROR: Failed to create new account at Quillstead server: %@", {error.description}));
            complete(completion, registrationRefusal(error));
        });
}

void QSQuillsteadUser::attemptLoginWithEmail(const std::string& loginEmail, const std::string& withPassword,
                                             Completion completion) {
    if (auto error = obstacle(!loginEmail.empty() && !withPassword.empty())) return complete(completion, error);
    QSBackend::manager(loginEmail, withPassword)
        .GET(
            "/api/v1/profile", {},
            [completion](const Value&, const HttpResponse&) { complete(completion, std::nullopt); },
            [completion](const Error& error) { complete(completion, refusal(error)); });
}

void QSQuillsteadUser::fetchRemoteInfoNow(bool now, Completion completion) {
    if (isLocked_ && !hasCredentials()) readPassword();
    const bool isFilled = userID != 0 && hasCredentials();
    if (!now && isFilled && lastSyncDate && RunLoop::main().now() - *lastSyncDate < kProfileIsFresh)
        return complete(completion, std::nullopt);
    if (auto error = obstacle(hasCredentials())) return complete(completion, error);
    const auto asked = std::pair(*email, *password);
    // Who signs out or in as somebody else meanwhile is not this answer's business.
    const auto isStillAsked = [this, asked] { return email == asked.first && password == asked.second; };
    QSBackend::manager(asked.first, asked.second)
        .GET(
            "/api/v1/profile", {},
            [this, completion, isStillAsked, alive = std::weak_ptr(alive_)](const Value& answer, const HttpResponse&) {
                if (alive.expired()) return;
                if (!isStillAsked()) return complete(completion, missingCredentials());
                takeProfile(answer);
                complete(completion, std::nullopt);
            },
            [this, completion, isStillAsked, alive = std::weak_ptr(alive_)](const Error& error) {
                if (alive.expired()) return;
                isStillAsked() ? profileFailed(error, completion) : complete(completion, missingCredentials());
            });
}

void QSQuillsteadUser::takeProfile(const Value& answer) {
    name = textOf(answer["name"]);
    userID = static_cast<std::uint64_t>(answer["id"].integerValue());
    if (auto picture = textOf(answer["privateAvatarURL"])) {
        avatarURL = std::move(picture);
        _fetchAvatarImage();
    }
    if (const Value& templates = answer["allSignatureTemplates"]; !templates.isNil()) signatureTemplates = templates;
    registrationDate =
        parseDate(answer["created_at"].stringValue(), {.pattern = "yyyy-MM-dd HH:mm:ss", .timeZone = "UTC"});
    lastSyncDate = RunLoop::main().now();
    save();
    savePasswordInKeychain();
    RunLoop::main().after(kTransmissionDelay, [this, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) transmitUserProperties();
    });
}

void QSQuillsteadUser::profileFailed(const Error& error, const Completion& completion) {
    logError(stringWithFormat("ERROR: Failed to fetch user account from Quillstead server: %@", {error.description}));
    const auto status = error.userInfo.find(kHTTPStatusErrorKey);
    const bool isRefused = status != error.userInfo.end() && status->second.integerValue() == 401;
    const bool isStale = lastSyncDate && RunLoop::main().now() - *lastSyncDate > kRecordIsStale;
    if (isRefused || isStale) resetUser();
    complete(completion, refusal(error));
}

void QSQuillsteadUser::transmitUserProperties() {
    const Date now = RunLoop::main().now();
    if (lastPropertiesTransmissionDate && now - *lastPropertiesTransmissionDate < kPropertiesInterval) return;
    if (!hasCredentials()) return logInfo("Email or password is missing.");
    const Dictionary properties = userProperties.propertiesDictionary(), device = userProperties.deviceDictionary();
    if (properties.empty() || device.empty() || !QSBackend::isReachable()) return;
    auto manager = QSBackend::manager(*email, *password);
    manager.POST(
        "/api/v1/properties", properties,
        [this, alive = std::weak_ptr(alive_)](const Value&, const HttpResponse&) {
            if (!alive.expired()) lastPropertiesTransmissionDate = RunLoop::main().now();
        },
        [](const Error&) { logError("ERROR: Could not transmit user properties to Quillstead server."); });
    manager.POST("/api/v1/device", device, nullptr, [](const Error& error) {
        logError("ERROR: Could not transmit user device to Quillstead server.");
        const auto body = error.userInfo.find(AFNetworkingOperationFailingURLResponseDataErrorKey);
        if (body != error.userInfo.end()) logError(body->second.dataValue().bytes.substr(0, 1000));
    });
}

// The picture is somebody's file: it is decoded away from this process.
void QSQuillsteadUser::_fetchAvatarImage() {
    if (!isSet(avatarURL) || fetchingAvatar_) return;
    fetchingAvatar_ = true;
    AFHTTPSessionManager manager(*avatarURL);
    manager.responseSerializer().kind = AFHTTPResponseSerializer::Kind::Data;
    const auto alive = std::weak_ptr(alive_);
    manager.GET(
        *avatarURL, {},
        [this, alive](const Value& answer, const HttpResponse&) {
            if (alive.expired()) return;
            fetchingAvatar_ = false;
            decodeAvatar(answer.dataValue().bytes);
        },
        [this, alive](const Error&) {
            if (!alive.expired()) fetchingAvatar_ = false;
        });
}

void QSQuillsteadUser::decodeAvatar(std::string data) {
    const auto decoder = Platform::current().imageDecoder;
    if (data.size() < kSmallestPicture || !decoder) return;
    QSSession::current().globalQueue().add([this, alive = std::weak_ptr(alive_), decoder, data = std::move(data)] {
        auto image = decoder->imageWithData(data);
        if (!image) return;
        RunLoop::main().post([this, alive, image = image->imageInOvalWithLine(kPluginColor, kRingWidth)] {
            if (alive.expired()) return;
            setAvatarImage(image);
            noteModelChange();
        });
    });
}

std::optional<Image> QSQuillsteadUser::avatarImage() {
    if (avatarImage_) return avatarImage_;
    _fetchAvatarImage();
    return pluginImageNamed("Quillstead");
}

}  // namespace qs
