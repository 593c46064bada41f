#include "Mail/MailAccount.h"

#include <array>

#include "Application/HostInstances.h"
#include "Mail/AddressScan.h"
#include "Mail/Message.h"
#include "Mail/MessageHeaders.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// The sender first: what an account wrote is its own, also when it wrote to another account of the same person.
constexpr std::array<std::string_view, 6> kTellingHeaders{"From", "Delivered-To", "X-Original-To", "To", "Cc", "Bcc"};

bool hasAddress(const MailAccount& account, std::string_view address) {
    for (const std::string& own : account.emailAddresses())
        if (equalsIgnoringCase(own, address)) return true;
    return false;
}

}  // namespace

std::vector<std::shared_ptr<MailAccount>> MailAccount::mailAccounts() {
    const auto& accounts = HostInstances::current().mailAccounts;
    return accounts ? accounts() : std::vector<std::shared_ptr<MailAccount>>();
}

std::shared_ptr<Mailbox> MailAccount::inboxMailboxCreateIfNeeded(bool) { return inboxMailbox(); }  // always there

std::shared_ptr<MailAccount> MailAccount::accountForHeaders(const MessageHeaders& headers, const Message* message) {
    const auto accounts = mailAccounts();
    const auto own = message ? message->account() : nullptr;
    for (const std::string_view key : kTellingHeaders) {
        for (const std::string& value : headers.allHeadersForKey(key)) {
            for (const ScannedAddress& each : scanAddresses(value)) {
                if (each.address.empty()) continue;
                // Several accounts may have the address; then the one that the message lies in.
                if (own && hasAddress(*own, each.address)) return own;
                for (const auto& account : accounts)
                    if (hasAddress(*account, each.address)) return account;
            }
        }
    }
    return nullptr;
}

std::shared_ptr<MailAccount> MailAccount::accountWithIdentifier(std::string_view identifier) {
    for (const auto& account : mailAccounts())
        if (account->identifier() == identifier) return account;
    return nullptr;
}

}  // namespace qs
