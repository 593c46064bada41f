#include "Services/NUKeychain.h"

#include "Foundation/Log.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// See the header: that many bytes, as there are UTF-16 units.
std::string_view cut(std::string_view text) {
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) units += byte >= 0xF0 ? 2 : 1;
    }
    return text.substr(0, units);
}

KeychainName nameOf(std::string_view label, std::string_view account) {
    return KeychainName::label(std::string(cut(label)), std::string(cut(account)));
}

Result<std::string> read(std::string_view label, std::string_view account) {
    const auto& keychain = Platform::current().keychain;
    if (!keychain)
        return failure(kKeychainErrorDomain, static_cast<int>(KeychainError::Unreachable), "There is no keychain.");
    auto found = keychain->read(nameOf(label, account));
    if (!found && keychainError(found.error()) != KeychainError::Missing)
        logWarning("A password could not be read: " + found.error().description);
    return found;
}

bool write(std::string_view label, std::string_view account, std::string_view password) {
    const auto& keychain = Platform::current().keychain;
    if (!keychain) return false;
    DDLog::maskSecret(password);
    const auto written = keychain->write(nameOf(label, account), cut(password));
    if (!written) logError("A password could not be kept: " + written.error().description);
    return written.has_value();
}

}  // namespace

bool NUKeychain::checkForExistanceOfKeychainItem(std::string_view label, std::string_view account) {
    return read(label, account).has_value();
}

bool NUKeychain::isMissingKeychainItem(std::string_view label, std::string_view account) {
    const auto found = read(label, account);
    return !found && keychainError(found.error()) == KeychainError::Missing;
}

bool NUKeychain::setPassword(std::string_view password, std::string_view label, std::string_view account) {
    if (checkForExistanceOfKeychainItem(label, account)) return _modifyKeychainItem(label, account, password);
    return write(label, account, password);
}

std::optional<std::string> NUKeychain::passwordFromKeychainItem(std::string_view label, std::string_view account) {
    auto password = read(label, account);
    if (!password || password->empty() || !isValidUtf8(*password)) return std::nullopt;
    DDLog::maskSecret(*password);
    return std::move(*password);
}

bool NUKeychain::removeKeychainItem(std::string_view label, std::string_view account) {
    if (!checkForExistanceOfKeychainItem(label, account)) return false;
    const auto removed = Platform::current().keychain->remove(nameOf(label, account));
    if (!removed) logError("A password could not be removed: " + removed.error().description);
    return removed.has_value();
}

bool NUKeychain::_modifyKeychainItem(std::string_view label, std::string_view account, std::string_view newPassword) {
    return write(label, account, newPassword);
}

}  // namespace qs
