// Plain passwords in the keychain, found by label and account. Label, account and password are cut after as many bytes
// as the text has UTF-16 units, as the keychain calls that these stand for are given them: a text that is not ASCII
// loses its end, the same way in every call. Main thread or any other; failures are told as false or nothing, and why
// in the log.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

class NUKeychain {
public:
    // Whether an item is there for certain.
    static bool checkForExistanceOfKeychainItem(std::string_view label, std::string_view account);
    // Whether none is there for certain; false also when the keychain is locked or does not answer.
    static bool isMissingKeychainItem(std::string_view label, std::string_view account);
    // Updates the item, or adds it.
    static bool setPassword(std::string_view password, std::string_view label, std::string_view account);
    // Nothing when there is no item, when its password is empty or no UTF-8, or when it can't be read.
    static std::optional<std::string> passwordFromKeychainItem(std::string_view label, std::string_view account);
    // False, and nothing done, when there is no item.
    static bool removeKeychainItem(std::string_view label, std::string_view account);

private:
    static bool _modifyKeychainItem(std::string_view label, std::string_view account, std::string_view newPassword);
};

}  // namespace qs
