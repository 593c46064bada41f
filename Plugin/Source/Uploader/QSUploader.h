// The common ground of all workers that store a file at an outside service and answer a link to it.
//
// A transfer ends with exactly one of the delegate's two end calls, unless it was cancelled: then with none. The worker
// is idle again before that call, so the next file may be given from within it. Main thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Services/QSServiceSlave.h"

namespace qs {

class HttpTask;
struct QSSlaveClass;

inline constexpr const char* kUploaderErrorDomain = "com.tallowbay.Quillstead.Uploader";

class QSUploaderDelegate {
public:
    virtual ~QSUploaderDelegate() = default;
    virtual void uploadFailedWithStatus(std::int32_t status, const Error& error) = 0;  // status 0
    // `file` is the path that was given, whatever the service calls it. No icon: empty.
    virtual void createdLink(const std::string& link, const std::string& file, const std::string& iconURL) = 0;
    virtual void uploadProgress(double /*fraction*/, const std::string& /*file*/) {}
};

class QSUploadServiceSlaveProtocol {
public:
    virtual ~QSUploadServiceSlaveProtocol() = default;
    virtual bool allowsRawAccess() const = 0;
};

class QSUploader : public QSServiceSlaveProtocol, public QSUploadServiceSlaveProtocol {
public:
    // An assertion failure for a type that is no upload service.
    static const QSSlaveClass* classForServiceType(std::int32_t type);
    // Of the domain of sign-ins; nothing for a code without a text.
    static std::optional<std::string> localizedErrorDescriptionForErrorCode(int code);

    explicit QSUploader(std::weak_ptr<QSService> service);
    ~QSUploader() override;

    bool respondsTo(QSSlaveOperation operation) const override;
    std::shared_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate() const override { return authDelegate_.lock(); }
    void setAuthDelegate(std::weak_ptr<QSServiceSlaveAuthenticationDelegate> delegate) override {
        authDelegate_ = std::move(delegate);
    }
    bool allowsRawAccess() const override;

    std::shared_ptr<QSService> service() const { return service_.lock(); }
    void setDelegate(std::shared_ptr<QSUploaderDelegate> delegate) { delegate_ = std::move(delegate); }
    const std::string& activeFile() const { return activeFile_; }
    bool busy() const { return busy_; }
    bool canceled() const { return canceled_; }

    // False when no transfer was started, and then nothing is called: a worker takes one file at a time.
    virtual bool uploadFile(const std::string& path, bool createPublicLink, bool rawFileAccess);
    virtual void cancelUpload();

    // By the name's extension.
    static std::string MIMETypeFileName(std::string_view fileName, std::string_view defaultMIMEType);

protected:
    bool beginTransfer(const std::string& path);  // false when busy
    // From a progress event: false, and the task is cancelled, when the transfer was.
    bool continueTransfer(double fraction, HttpTask* task);
    void endTransfer(const std::string& link, const std::string& iconURL = {});
    void failTransfer(const Error& error);
    // The end of a sign-in: tells the delegate, then marks the service.
    void finishAuthentication(const std::optional<Error>& error);
    static Error uploaderError(int code, const char* text);

private:
    std::weak_ptr<QSService> service_;
    std::shared_ptr<QSUploaderDelegate> delegate_;
    std::weak_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate_;
    std::string activeFile_;
    bool busy_ = false, canceled_ = false;
};

}  // namespace qs
