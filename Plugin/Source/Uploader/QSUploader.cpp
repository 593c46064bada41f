#include "Uploader/QSUploader.h"

#include <array>

#include "Core/QSSession.h"
#include "Http/HttpClient.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"
#include "Text/MimeTypes.h"

namespace qs {

const QSSlaveClass* QSUploader::classForServiceType(std::int32_t type) {
    return QSServicesManager::sharedManager().slaveClasses().classForServiceType(kUploadUtility, type);
}

std::optional<std::string> QSUploader::localizedErrorDescriptionForErrorCode(int code) {
    constexpr std::array<const char*, 10> texts{
        "Your login information is incomplete.",
        "Your login information is incomplete.",
        "The provided login is invalid",
        "The provided password is incorrect.",
        "The user account is inactive.",
        "The user account is not active yet.",
        "An unknown error occurred during authentication.",
        "Authentication is missing.",
        "Invalid security challenge. Cannot authenticate with server.",
        "Cannot create Quillstead directory for this service. Authentication failed."};
    const auto index = static_cast<std::size_t>(code);
    if (code < 0 || index >= texts.size()) return std::nullopt;
    return QSLocalizedString(texts[index]);
}

QSUploader::QSUploader(std::weak_ptr<QSService> service) : service_(std::move(service)) {}

QSUploader::~QSUploader() = default;

bool QSUploader::respondsTo(QSSlaveOperation operation) const {
    return operation == QSSlaveOperation::Authenticate || operation == QSSlaveOperation::AuthDelegate ||
           operation == QSSlaveOperation::SetAuthDelegate;
}

bool QSUploader::allowsRawAccess() const {
    constexpr std::int32_t kBox = 6, kOneDrive = 19;
    const auto service = this->service();
    return !service || (service->serviceType() != kBox && service->serviceType() != kOneDrive);
}

bool QSUploader::uploadFile(const std::string&, bool, bool) { return false; }

void QSUploader::cancelUpload() {
    busy_ = false;
    canceled_ = true;
}

std::string QSUploader::MIMETypeFileName(std::string_view fileName, std::string_view defaultMIMEType) {
    return mimeTypeForFileName(fileName, defaultMIMEType);
}

bool QSUploader::beginTransfer(const std::string& path) {
    if (busy_) return false;
    activeFile_ = path;
    busy_ = true;
    canceled_ = false;
    return true;
}

bool QSUploader::continueTransfer(double fraction, HttpTask* task) {
    if (canceled_) {
        if (task) task->cancel();
        busy_ = false;
        return false;
    }
    if (delegate_) delegate_->uploadProgress(fraction, activeFile_);
    return true;
}

void QSUploader::endTransfer(const std::string& link, const std::string& iconURL) {
    busy_ = false;
    if (const auto delegate = delegate_) delegate->createdLink(link, activeFile_, iconURL);
}

void QSUploader::failTransfer(const Error& error) {
    busy_ = false;
    // A cancelled transfer ends without a word.
    if (error.domain == kHttpErrorDomain && error.code == static_cast<int>(HttpError::Cancelled) && canceled_) return;
    if (const auto delegate = delegate_) delegate->uploadFailedWithStatus(0, error);
}

void QSUploader::finishAuthentication(const std::optional<Error>& error) {
    const auto service = this->service();
    if (const auto delegate = authDelegate()) delegate->didFinishAuthenticationWithError(error);
    if (service) service->markAsLinked(!error);
}

Error QSUploader::uploaderError(int code, const char* text) {
    return {kUploaderErrorDomain, code, QSLocalizedString(text), {}};
}

}  // namespace qs
