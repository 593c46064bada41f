#include "Account/QSUserProperties.h"

#include <cmath>
#include <string>

#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Locale.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RunLoop.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Platform.h"
#include "SystemFacts/ProcessInfo.h"

extern const char quillsteadFoundationVersion[];  // of the host: both are built as one

namespace qs {

namespace {

constexpr TimeInterval kWeek = 604800;

std::int64_t messagesInInboxes() {
    std::int64_t count = 0;
    for (const auto& account : MailAccount::mailAccounts())
        if (const auto inbox = account->inboxMailbox()) count += inbox->messageCount();
    return count;
}

// Of the last seven days: messages by the age of the first of them, for each account.
std::int64_t sentMessagesPerWeek() {
    const Date now = RunLoop::main().now();
    const auto library = Library::shared();
    double rate = 0;
    for (const auto& account : MailAccount::mailAccounts()) {
        const auto sent = account->mailboxOfKind(static_cast<int>(MailboxKind::Sent), false);
        if (!sent || !library) continue;
        const auto recent = MessageCriterion::with(MessageCriterion::Kind::ReceivedSince, now - kWeek);
        int count = 0;
        Date earliest = now;
        for (const auto& message : library->messagesMatchingCriterion(
                 MessageCriterion::allOf({sent->criterion(), recent}), 0, kSearchStore)) {
            if (message->flags().deleted) continue;
            ++count;
            earliest = std::min(earliest, message->dateSent());
        }
        if (const double age = std::abs(now - earliest); count > 0 && age > 0) rate += count / age;
    }
    return static_cast<std::int64_t>(rate * kWeek);
}

std::string bundleVersion() {
    const auto& info = QSSession::current().bundle().infoDictionary();
    const auto version = info.find("CFBundleVersion");
    return version == info.end() ? std::string() : version->second.stringValue();
}

// As people call the machine; unknown models go by their maker's name.
std::string modelName(const std::string& model) {
    const auto path = QSSession::current().bundle().pathForResource("SUModelTranslation", "plist");
    const auto text = path.empty() ? Result<std::string>(std::string()) : FileSystem::real().read(path);
    const auto table = text ? parsePropertyList(*text) : failed(text);
    const Value name = table ? (*table)[model] : Value();
    return name.isNil() ? model : name.stringValue();
}

}  // namespace

Dictionary QSUserProperties::propertiesDictionary() const {
    const auto accounts = MailAccount::mailAccounts();
    std::int64_t mailboxes = 0;
    for (const auto& account : accounts)
        mailboxes += static_cast<std::int64_t>(account->mailboxes().size());
    Dictionary properties{{"number_of_accounts", static_cast<std::int64_t>(accounts.size())},
                          {"number_of_signatures", 0},  // this host has none of its own
                          {"number_of_subfolders", mailboxes},
                          {"country", englishCountryName()}};
    if (const auto count = messagesInInboxes()) properties.emplace("number_of_emails_in_inbox", count);
    if (const auto count = sentMessagesPerWeek()) properties.emplace("number_of_sent_emails_per_week", count);
    const auto info = Platform::current().processInfo;
    const auto languages = info ? info->preferredLanguages() : std::vector<std::string>();
    properties.emplace("preferred_language", languages.empty() ? std::string("en") : languages.front());
    return properties;
}

Dictionary QSUserProperties::deviceDictionary() const {
    const auto info = Platform::current().processInfo;
    if (!info) return {};
    const auto system = info->operatingSystemVersion();
    return {{"device_id", info->machineIdentifier()},
            {"osx_version", stringWithFormat("%ld.%ld.%ld", {system.major, system.minor, system.patch})},
            {"mail_version", stringWithFormat("%@ (%@)", {quillsteadFoundationVersion, quillsteadFoundationVersion})},
            {"quillstead_version", bundleVersion()},
            {"mac_model", modelName(info->machineModel())}};
}

}  // namespace qs
