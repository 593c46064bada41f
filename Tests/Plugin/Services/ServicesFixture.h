// The registry of outside services in a running plug-in, with a keychain that is watched and workers that take notes.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Keychain/Keychain.h"
#include "Platform.h"
#include "PluginTest.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"

namespace qs {

// Counts how often it is used.
class CountingKeychain : public Keychain {
public:
    explicit CountingKeychain(std::shared_ptr<Keychain> real) : real_(std::move(real)) {}
    int uses = 0;
    bool isLocked = false;
    Result<std::string> read(const KeychainName& name) override {
        ++uses;
        if (isLocked) return failure(kKeychainErrorDomain, static_cast<int>(KeychainError::Locked), "Locked.");
        return real_->read(name);
    }
    Result<void> write(const KeychainName& name, std::string_view secret) override {
        ++uses;
        return real_->write(name, secret);
    }
    Result<void> remove(const KeychainName& name) override {
        ++uses;
        return real_->remove(name);
    }
    bool unlock() override { return real_->unlock(); }

private:
    std::shared_ptr<Keychain> real_;
};

// Writes down what it is asked to do.
class NotingSlave : public QSServiceSlaveProtocol {
public:
    explicit NotingSlave(std::vector<std::string>& notes, std::string name) : notes_(notes), name_(std::move(name)) {}
    bool respondsTo(QSSlaveOperation operation) const override {
        return operation != QSSlaveOperation::AuthenticateWithWindow;
    }
    void sync() override { notes_.push_back("sync " + name_); }
    void authenticateWithCode(const std::optional<std::string>& code) override {
        notes_.push_back("code " + code.value_or("(none)") + " " + name_);
    }
    void deauthenticate() override { notes_.push_back("deauthenticate " + name_); }

private:
    std::vector<std::string>& notes_;
    std::string name_;
};

class ServicesTest : public PluginTest {
protected:
    void start() {
        startHost();
        installKeychain();
    }
    void installKeychain() {
        keychain_ =
            std::make_shared<CountingKeychain>(Keychain::vault({host_->dataFolder() / "Keychain", {}, nullptr}));
        Platform::current().keychain = keychain_;
    }
    QSServicesManager& manager() { return QSServicesManager::sharedManager(); }
    void useNotingSlaves(int type) {
        manager().slaveClasses().setMaker(type, [this](const QSServiceRef& service) {
            return std::make_shared<NotingSlave>(notes_, service->login().value_or("?"));
        });
    }

    std::shared_ptr<CountingKeychain> keychain_;
    std::vector<std::string> notes_;
};

}  // namespace qs
