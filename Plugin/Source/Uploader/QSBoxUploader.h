// Stores files in a folder "Quillstead" of an account at Box, by its REST interface with a bearer token.
#pragma once

#include "Services/QSOAuthAccount.h"
#include "Uploader/QSUploader.h"

namespace qs {

class AFHTTPSessionManager;
class Value;

class QSBoxUploader : public QSUploader {
public:
    explicit QSBoxUploader(std::weak_ptr<QSService> service);

    bool respondsTo(QSSlaveOperation operation) const override;
    void authenticate() override;
    void authenticateWithCode(const std::optional<std::string>& code) override;
    void deauthenticate() override;
    void sync() override;
    bool uploadFile(const std::string& path, bool createPublicLink, bool rawFileAccess) override;

private:
    using Next = std::function<void(const Value& answer)>;
    AFHTTPSessionManager session(std::string_view hostKey) const;
    // Goes on with `next` as long as this worker is there.
    Next whileAlive(Next next) const;
    QSOAuthAccount::Failed whileAlive(QSOAuthAccount::Failed failed) const;
    void linkFailed(const Error& error);
    void findFolder();
    void makeFolder();
    std::string folder() const;  // its id; empty before it is known
    void folderIsThere(const std::string& identifier);
    void chooseName(const Value& listing, const std::string& path, bool createPublicLink);
    void send(const std::string& name, const std::string& path, bool createPublicLink);
    void share(const Value& answer, bool createPublicLink);
    void uploadFailed(const char* step, const Error& error);

    QSOAuthAccount account_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace qs
