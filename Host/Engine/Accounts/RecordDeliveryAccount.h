// An account's outgoing server as a plug-in sees it.
#pragma once

#include "AccountRecord.h"
#include "Mail/DeliveryAccount.h"

namespace qs {

class RecordDeliveryAccount final : public DeliveryAccount {
public:
    explicit RecordDeliveryAccount(AccountRecord record)
        : DeliveryAccount("MFDeliveryAccount"), record_(std::move(record)) {}

    std::string identifier() const override { return record_.identifier; }
    std::string canonicalEmailAddress() const override { return record_.mainAddress(); }
    std::string hostname() const override;
    std::string username() const override;
    Result<std::string> password() const override;
    bool usesSSL() const override;
    std::optional<int> portNumberObject() const override;
    bool allowsOpenConnection() const override;
    std::filesystem::path certificateAuthorities() const override;

private:
    const AccountRecord record_;
};

}  // namespace qs
