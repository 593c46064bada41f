// The person's account at the backend, as this machine knows it: login data, profile, picture, signature templates.
// There is one record, me(). It is kept in the settings, but for its password, which lies in the keychain. Main thread;
// completions come there too, with nothing when it went well.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Account/QSUserProperties.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Foundation/Value.h"
#include "Images/Image.h"

namespace qs {

inline constexpr int QSErrorMissingCredentials = 4321;
inline constexpr int QSErrorUnreachable = 4323;

class QSQuillsteadUser {
public:
    using Completion = std::function<void(bool success, const std::optional<Error>& error)>;

    // Reads what save() wrote. Without a password in the keychain it begins anew, but keeps the address; while the
    // keychain can't be asked nothing is forgotten.
    static QSQuillsteadUser& me();
    QSQuillsteadUser();  // for the session, which makes me()

    std::optional<std::string> email, password, name, avatarURL;
    std::uint64_t userID = 0;
    std::optional<Date> registrationDate, lastSyncDate, lastPropertiesTransmissionDate;
    Value signatureTemplates;  // an array of dictionaries, as the backend sent them; nil before
    QSUserProperties userProperties;

    bool hasCredentials() const;
    // The person's picture in a ring; the plug-in's own until it has come. Asks for it when there is none yet.
    std::optional<Image> avatarImage();

    void save();
    void resetUser();
    void savePasswordInKeychain();

    void registerNewUserWithEmail(const std::string& email, const std::string& withPassword, Completion completion);
    // Whether the backend takes these; the record does not change.
    void attemptLoginWithEmail(const std::string& email, const std::string& withPassword, Completion completion);
    // Unless `now`, a profile that is less than six hours old is good enough, and nothing is asked.
    void fetchRemoteInfoNow(bool now, Completion completion);
    // Tells the backend, once in three days, in which surroundings the plug-in works.
    void transmitUserProperties();

private:
    Value archived() const;
    void unarchive(const Value& archive);
    void readPassword();
    void takeProfile(const Value& answer);
    void profileFailed(const Error& error, const Completion& completion);
    void _fetchAvatarImage();
    void decodeAvatar(std::string data);
    void setAvatarImage(std::optional<Image> image) { avatarImage_ = std::move(image); }

    std::optional<Image> avatarImage_;
    bool fetchingAvatar_ = false;
    bool isLocked_ = false;  // the keychain could not be asked at the start: the password is read when it is needed
    // Answers that come later ask it whether the record is still there.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
