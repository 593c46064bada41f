#include "Accounts/AccountRoutes.h"

#include <array>

#include "Accounts/AccountRules.h"
#include "Accounts/PasswordHasher.h"
#include "Accounts/RateLimiter.h"
#include "Accounts/SignIn.h"
#include "Images/ImageDecoder.h"
#include "Mail/LetterQueue.h"
#include "Mail/Letters.h"
#include "Metrics.h"
#include "Store/SqlPool.h"
#include "Store/Times.h"
#include "Text/Base64.h"
#include "Text/Digests.h"
#include "Web/Answers.h"
#include "Web/FormFields.h"
#include "Web/PeerAddress.h"

namespace qs {

namespace {

constexpr std::size_t kLongestFact = 200;  // bytes
constexpr int kPictureSide = 256;          // pixels

std::string fact(const FormFields& fields, std::string_view name) {
    std::string value = field(fields, name);
    if (value.size() > kLongestFact) value.clear();
    return value;
}

}  // namespace

HttpServerResponse addUser(Service& service, const Call& call) {
    const FormFields fields = formFields(call.http.body);
    const std::string email = normalisedAddress(field(fields, "email"));
    const std::string password = field(fields, "password");
    Dictionary faults;
    if (const std::string fault = faultOfAddress(email); !fault.empty()) faults["email"] = Array{fault};
    if (const std::string fault = faultOfPassword(password); !fault.empty()) faults["password"] = Array{fault};
    if (!faults.empty()) return jsonAnswer(422, faults);

    const std::string peer = limitKeyOf(call.peer);
    if (!service.limits.signUpsByPeer.take(peer, call.now)) {
        const int wait = service.limits.signUpsByPeer.secondsToWait(peer, call.now);
        HttpServerResponse response = jsonAnswer(
            429, Dictionary{{"email", Array{"There were too many tries. Please wait a little and try again."}}});
        response.headers.emplace_back("Retry-After", std::to_string(wait));
        return response;
    }
    // From here on the answer is the same whatever there is at this address, and takes as long.
    const std::string hash = service.passwords.hash(password);
    const std::string token = hexadecimal(randomDataWithBytes(32));
    if (service.limits.signUpsByAddress.take(email, call.now)) {
        service.database.transaction([&](SqlConnection& database) {
            if (accountWithEmail(database, email)) {
                addLetter(database, existingAccountLetter(email, service.baseUrl + "/password/email"), call.now);
                return;
            }
            addSignUp(database, token, email, hash, call.now);
            addLetter(database, confirmationLetter(email, service.baseUrl + "/confirm?token=" + token), call.now);
        });
        service.letters.wake();
        service.metrics.add("sign_ups_total");
    }
    return jsonAnswer(200, Dictionary{{"email", email}, {"status", "confirmation_sent"}});
}

HttpServerResponse showProfile(Service& service, const Call& call) {
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    Dictionary profile{{"id", account->id},
                       {"email", account->email},
                       {"name", account->name},
                       {"created_at", timestamp(account->created)},
                       {"allSignatureTemplates", service.signatureTemplates}};
    if (!account->pictureKey.empty()) profile["privateAvatarURL"] = service.baseUrl + "/avatars/" + account->pictureKey;
    return jsonAnswer(200, profile);
}

HttpServerResponse takeProperties(Service& service, const Call& call) {
    constexpr std::array known = {"number_of_accounts",        "number_of_signatures",           "number_of_subfolders",
                                  "number_of_emails_in_inbox", "number_of_sent_emails_per_week", "country",
                                  "preferred_language"};
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    const FormFields fields = formFields(call.http.body);
    std::map<std::string, std::string> properties;
    for (const char* name : known)
        if (std::string value = fact(fields, name); !value.empty()) properties[name] = std::move(value);
    if (properties.empty()) return errorAnswer(422, "There is no property among what was sent.");
    service.database.transaction(
        [&](SqlConnection& database) { setProperties(database, account->id, properties, call.now); });
    return jsonAnswer(200, Dictionary{{"status", "ok"}});
}

HttpServerResponse takeDevice(Service& service, const Call& call) {
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    const FormFields fields = formFields(call.http.body);
    const std::string device = fact(fields, "device_id");
    if (device.empty()) return errorAnswer(422, "The device_id is missing.");
    // Machines are told apart; which serial number they bear is nobody's business.
    const DeviceFacts facts{.device = SHA256HexDigest(device),
                            .osxVersion = fact(fields, "osx_version"),
                            .mailVersion = fact(fields, "mail_version"),
                            .quillsteadVersion = fact(fields, "quillstead_version"),
                            .macModel = fact(fields, "mac_model")};
    service.database.transaction([&](SqlConnection& database) { setDevice(database, account->id, facts, call.now); });
    return jsonAnswer(200, Dictionary{{"status", "ok"}});
}

HttpServerResponse takePicture(Service& service, const Call& call) {
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    if (call.http.method == "DELETE") {
        service.database.transaction([&](SqlConnection& database) { setPicture(database, account->id, std::nullopt); });
        return jsonAnswer(200, Dictionary{{"status", "ok"}});
    }
    if (!service.images) return errorAnswer(501, "This server takes no pictures.");
    // Drawn anew: what a camera wrote beside the picture, such as the place, does not go out.
    const auto image = service.images->imageWithData(call.http.body);
    if (!image) return errorAnswer(422, "This is no picture.");
    const std::string png = image->resizedCleanImageWithSize({kPictureSide, kPictureSide}).pngData();
    const Picture picture{.base64 = base64EncodedString(png),
                          .key = hexadecimal(randomDataWithBytes(32)),
                          .hash = MD5Email(account->email)};
    service.database.transaction([&](SqlConnection& database) { setPicture(database, account->id, picture); });
    return jsonAnswer(200, Dictionary{{"privateAvatarURL", service.baseUrl + "/avatars/" + picture.key}});
}

HttpServerResponse showPicture(Service& service, const Call& call) {
    std::string_view name = call.http.path;
    name.remove_prefix(name.rfind('/') + 1);
    const bool isPublic = call.http.path.starts_with("/pictures/");
    if (isPublic && name.ends_with(".jpg")) name.remove_suffix(4);
    const auto base64 = service.database.transaction([&](SqlConnection& database) {
        return isPublic ? pictureWithHash(database, std::string(name)) : pictureWithKey(database, std::string(name));
    });
    const auto picture = base64 ? dataFromBase64String(*base64) : std::nullopt;
    if (!picture) return HttpServerResponse::text(404, "There is no such picture.");
    // Mail programs of other origins may show it.
    return {200,
            {{"Content-Type", "image/png"},
             {"Cache-Control", "private, max-age=3600"},
             {"Cross-Origin-Resource-Policy", "cross-origin"},
             {"Content-Security-Policy", "default-src 'none'; sandbox"}},
            *picture};
}

}  // namespace qs
