#include "Http/CurlTransfer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "Http/PublicAddress.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kMostHeaderBytes = 256 * 1024;

template <class T>
void set(CURL* easy, CURLoption option, T value) {
    curl_easy_setopt(easy, option, value);
}

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, UrlDeleter>;

Url parsed(const std::string& text) {
    Url url(curl_url());
    if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_URLENCODE) != CURLUE_OK) return nullptr;
    return url;
}
std::string part(const Url& url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url.get(), which, &text, which == CURLUPART_PORT ? CURLU_DEFAULT_PORT : 0) != CURLUE_OK) return {};
    std::string result = text;
    curl_free(text);
    return result;
}

bool isWeb(const Url& url) {
    const std::string scheme = part(url, CURLUPART_SCHEME);
    return scheme == "http" || scheme == "https";
}

// What tells a server who somebody is.
bool isCredential(std::string_view name) {
    for (const char* each : {"authorization", "x-authorization", "cookie", "proxy-authorization", "x-api-key"})
        if (equalsIgnoringCase(name, each)) return true;
    return false;
}

bool hasControl(std::string_view text) { return std::any_of(text.begin(), text.end(), isAsciiControl); }

std::filesystem::path partFile(const std::filesystem::path& file) { return file.string() + ".part"; }

}  // namespace

CurlTransfer::CurlTransfer(HttpRequest request, const HttpClient::Options& options, Flag cancelled,
                           std::function<void(std::uint64_t, std::uint64_t)> told)
    : request_(std::move(request)),
      options_(options),
      cancelled_(std::move(cancelled)),
      told_(std::move(told)),
      easy_(curl_easy_init()) {}

CurlTransfer::~CurlTransfer() {
    if (!saved_.is_open()) return;
    saved_.close();
    std::error_code ignored;
    std::filesystem::remove(partFile(request_.saveAnswer), ignored);
}

Error CurlTransfer::errorOf(HttpError code, std::string description) const {
    return {kHttpErrorDomain, static_cast<int>(code), std::move(description), {{"url", request_.url}}};
}

std::optional<Error> CurlTransfer::start() {
    const Url url = parsed(request_.url);
    if (!url || !isWeb(url) || part(url, CURLUPART_HOST).empty())
        return errorOf(HttpError::BadUrl, "This is no address of the web.");
    for (const auto& [name, value] : request_.headers)
        if (name.empty() || hasControl(name) || hasControl(value) || name.find(':') != std::string::npos)
            return errorOf(HttpError::BadUrl, "A header of the request holds what no header may.");
    if (hasControl(request_.method) || request_.method.empty())
        return errorOf(HttpError::BadUrl, "The request has no method.");
    if (request_.acceptsAnyCertificate && request_.login)
        return errorOf(HttpError::SecureConnectionFailed, "Without a check of the server no password is sent.");
    if (!request_.bodyFile.empty()) {
        std::error_code failed;
        uploadSize_ = std::filesystem::file_size(request_.bodyFile, failed);
        if (!failed) upload_.open(request_.bodyFile, std::ios::binary);
        if (failed || !upload_) return errorOf(HttpError::CannotOpenFile, "The file to be sent can't be read.");
    }
    CURL* easy = easy_.get();
    set(easy, CURLOPT_PRIVATE, static_cast<void*>(this));
    set(easy, CURLOPT_NOSIGNAL, 1L);
    set(easy, CURLOPT_ERRORBUFFER, reason_);
    set(easy, CURLOPT_HEADERFUNCTION, &CurlTransfer::headerCame);
    set(easy, CURLOPT_HEADERDATA, this);
    set(easy, CURLOPT_WRITEFUNCTION, &CurlTransfer::bodyCame);
    set(easy, CURLOPT_WRITEDATA, this);
    set(easy, CURLOPT_XFERINFOFUNCTION, &CurlTransfer::progressed);
    set(easy, CURLOPT_XFERINFODATA, this);
    set(easy, CURLOPT_NOPROGRESS, 0L);
    set(easy, CURLOPT_ACCEPT_ENCODING, "");
    const long idle = std::max(1L, static_cast<long>(request_.timeout));
    set(easy, CURLOPT_CONNECTTIMEOUT, idle);
    set(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(easy, CURLOPT_LOW_SPEED_TIME, idle);
    set(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request_.mostSeconds * 1000));
    setSafety();
    setUrl();
    setHeaders();
    setBody();
    return std::nullopt;
}

void CurlTransfer::setSafety() {
    CURL* easy = easy_.get();
    set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    set(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(easy, CURLOPT_SSL_VERIFYPEER, request_.acceptsAnyCertificate ? 0L : 1L);
    set(easy, CURLOPT_SSL_VERIFYHOST, request_.acceptsAnyCertificate ? 0L : 2L);
    if (!options_.certificates.empty()) set(easy, CURLOPT_CAINFO, options_.certificates.c_str());
    set(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    if (!request_.publicAddressesOnly) return;
    set(easy, CURLOPT_PROXY, "");
    set(easy, CURLOPT_OPENSOCKETFUNCTION, &CurlTransfer::socketOpens);
    set(easy, CURLOPT_OPENSOCKETDATA, this);
    // A connection that somebody else opened to the same name was not looked at.
    set(easy, CURLOPT_FRESH_CONNECT, 1L);
    set(easy, CURLOPT_FORBID_REUSE, 1L);
}

void CurlTransfer::setUrl() {
    CURL* easy = easy_.get();
    set(easy, CURLOPT_URL, request_.url.c_str());
    response_.finalUrl = request_.url;
    if (!request_.login || request_.publicAddressesOnly) {
        set(easy, CURLOPT_USERNAME, static_cast<char*>(nullptr));
        set(easy, CURLOPT_PASSWORD, static_cast<char*>(nullptr));
        return;
    }
    const bool isDigest = request_.login->kind == HttpLogin::Kind::Digest;
    set(easy, CURLOPT_HTTPAUTH, static_cast<long>(isDigest ? CURLAUTH_DIGEST : CURLAUTH_BASIC));
    set(easy, CURLOPT_USERNAME, request_.login->user.c_str());
    set(easy, CURLOPT_PASSWORD, request_.login->password.c_str());
}

void CurlTransfer::setHeaders() {
    curl_slist* list = curl_slist_append(nullptr, "Expect:");  // servers that don't know it keep us waiting
    bool hasAgent = false, hasType = false;
    for (const auto& [name, value] : request_.headers) {
        if (request_.publicAddressesOnly && isCredential(name)) continue;
        hasAgent |= equalsIgnoringCase(name, "User-Agent");
        hasType |= equalsIgnoringCase(name, "Content-Type");
        list = curl_slist_append(list, (name + (value.empty() ? ":" : ": " + value)).c_str());
    }
    const bool hasBody = !request_.body.empty() || !request_.bodyFile.empty();
    if (hasBody && !hasType) list = curl_slist_append(list, "Content-Type: application/octet-stream");
    headerList_.reset(list);
    set(easy_.get(), CURLOPT_HTTPHEADER, list);
    if (!hasAgent && !options_.userAgent.empty()) set(easy_.get(), CURLOPT_USERAGENT, options_.userAgent.c_str());
}

void CurlTransfer::setBody() {
    CURL* easy = easy_.get();
    const bool isStream = !request_.bodyFile.empty();
    uploadAt_ = 0;
    set(easy, CURLOPT_CUSTOMREQUEST, static_cast<char*>(nullptr));
    set(easy, CURLOPT_NOBODY, 0L);
    if (request_.method == "HEAD") {
        set(easy, CURLOPT_NOBODY, 1L);
        return;
    }
    if (!isStream && request_.body.empty() && request_.method != "POST" && request_.method != "PUT" &&
        request_.method != "PATCH") {
        set(easy, CURLOPT_HTTPGET, 1L);
    } else if (isStream) {
        upload_.clear();
        upload_.seekg(0);
        set(easy, CURLOPT_UPLOAD, 1L);
        set(easy, CURLOPT_READFUNCTION, &CurlTransfer::bodyGoes);
        set(easy, CURLOPT_READDATA, this);
        set(easy, CURLOPT_SEEKFUNCTION, &CurlTransfer::bodyRewinds);
        set(easy, CURLOPT_SEEKDATA, this);
        set(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(uploadSize_));
    } else {
        set(easy, CURLOPT_POST, 1L);
        set(easy, CURLOPT_POSTFIELDS, request_.body.data());
        set(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    }
    set(easy, CURLOPT_CUSTOMREQUEST, request_.method.c_str());
}

std::optional<Result<HttpResponse>> CurlTransfer::ended(CURLcode code) {
    if (*cancelled_) return failure(errorOf(HttpError::Cancelled, "The request was cancelled."));
    if (addressRefused_)
        return failure(errorOf(HttpError::AddressNotAllowed, "The address leads into a private network."));
    if (tooLarge_) return failure(errorOf(HttpError::TooLarge, "The answer is larger than it may be."));
    if (cannotSave_) return failure(errorOf(HttpError::CannotOpenFile, "The answer can't be put into its file."));
    if (code != CURLE_OK) return failure(errorOf(code));
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    response_.status = static_cast<int>(status);
    char* target = nullptr;  // libcurl's own
    curl_easy_getinfo(easy_.get(), CURLINFO_REDIRECT_URL, &target);
    const bool isRedirect = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
    if (isRedirect && target && request_.mostRedirects > 0) {
        if (auto error = redirect(target)) return failure(std::move(*error));
        return std::nullopt;
    }
    if (isRedirect && target) response_.redirectUrl = target;
    if (auto error = keepAnswer()) return failure(std::move(*error));
    return Result<HttpResponse>(std::move(response_));
}

bool CurlTransfer::isLeavingOrigin(const std::string& target) const {
    const Url from = parsed(request_.url), to = parsed(target);
    if (!from || !to) return true;
    if (!equalsIgnoringCase(part(from, CURLUPART_HOST), part(to, CURLUPART_HOST))) return true;
    const bool becomesPlain = part(from, CURLUPART_SCHEME) == "https" && part(to, CURLUPART_SCHEME) != "https";
    const bool becomesSafe = part(from, CURLUPART_SCHEME) == "http" && part(to, CURLUPART_SCHEME) == "https";
    return becomesPlain || (!becomesSafe && part(from, CURLUPART_PORT) != part(to, CURLUPART_PORT));
}

std::optional<Error> CurlTransfer::redirect(const std::string& target) {
    if (++redirects_ > request_.mostRedirects)
        return errorOf(HttpError::TooManyRedirects, "The address leads from one to the next without an end.");
    const Url url = parsed(target);
    if (!url || !isWeb(url)) return errorOf(HttpError::BadUrl, "The server leads to what is no address of the web.");
    if (isLeavingOrigin(target)) {
        request_.login.reset();
        std::erase_if(request_.headers, [](const auto& header) { return isCredential(header.first); });
    }
    const bool isPost = request_.method == "POST" && (response_.status == 301 || response_.status == 302);
    if (isPost || (response_.status == 303 && request_.method != "HEAD")) {
        request_.method = "GET";
        request_.body.clear();
        request_.bodyFile.clear();
        std::erase_if(request_.headers, [](const auto& header) {
            return equalsIgnoringCase(header.first, "Content-Type") ||
                   equalsIgnoringCase(header.first, "Content-Length");
        });
    }
    request_.url = target;
    forgetAnswer();
    setUrl();
    setHeaders();
    setBody();
    return std::nullopt;
}

void CurlTransfer::forgetAnswer() {
    response_ = {};
    bodySize_ = 0;
    if (saved_.is_open()) saved_.close();
}

std::optional<Error> CurlTransfer::keepAnswer() {
    if (request_.saveAnswer.empty() || !response_.isSuccess()) return std::nullopt;
    if (!saved_.is_open()) saved_.open(partFile(request_.saveAnswer), std::ios::binary | std::ios::trunc);
    saved_.close();
    std::error_code failed;
    if (saved_) std::filesystem::rename(partFile(request_.saveAnswer), request_.saveAnswer, failed);
    if (saved_ && !failed) return std::nullopt;
    return errorOf(HttpError::CannotOpenFile, "The answer can't be put into its file.");
}

Error CurlTransfer::errorOf(CURLcode code) const {
    const std::string reason = reason_[0] ? reason_ : curl_easy_strerror(code);
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return errorOf(HttpError::CannotFindHost, "The server was not found.");
    case CURLE_COULDNT_CONNECT: return errorOf(HttpError::CannotConnect, "The server does not answer.");
    case CURLE_OPERATION_TIMEDOUT: return errorOf(HttpError::TimedOut, "The server took too long to answer.");
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL: return errorOf(HttpError::BadUrl, "This is no address of the web.");
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
        return errorOf(HttpError::SecureConnectionFailed, "There is no safe connection to the server: " + reason);
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE: return errorOf(HttpError::ConnectionLost, "The connection to the server was lost.");
    default: return errorOf(HttpError::BadAnswer, "The server's answer makes no sense: " + reason);
    }
}

std::size_t CurlTransfer::headerCame(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::size_t length = size * count;
    std::string_view line(bytes, length);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.remove_suffix(1);
    if (line.starts_with("HTTP/")) {
        transfer.response_.headers.clear();  // of an interim answer, or of one that asked for the login
        return length;
    }
    std::size_t total = length;
    for (const auto& [name, value] : transfer.response_.headers)
        total += name.size() + value.size();
    if (total > kMostHeaderBytes) {
        transfer.tooLarge_ = true;
        return 0;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) return length;
    std::string_view value = line.substr(colon + 1);
    while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
        value.remove_prefix(1);
    transfer.response_.headers.emplace_back(line.substr(0, colon), value);
    return length;
}

std::size_t CurlTransfer::bodyCame(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::size_t length = size * count;
    transfer.bodySize_ += length;
    if (transfer.bodySize_ > transfer.request_.mostBytes) {
        transfer.tooLarge_ = true;
        return 0;
    }
    long status = 0;
    curl_easy_getinfo(transfer.easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    const bool isSuccess = status >= 200 && status < 300;
    if (isSuccess && transfer.request_.bodyArrives) {
        transfer.request_.bodyArrives(static_cast<int>(status), {bytes, length});
        return length;
    }
    // What a server says instead of the file is an answer to be read.
    if (transfer.request_.saveAnswer.empty() || !isSuccess) {
        transfer.response_.body.append(bytes, length);
        return length;
    }
    if (!transfer.saved_.is_open())
        transfer.saved_.open(partFile(transfer.request_.saveAnswer), std::ios::binary | std::ios::trunc);
    transfer.saved_.write(bytes, static_cast<std::streamsize>(length));
    if (transfer.saved_) return length;
    transfer.cannotSave_ = true;
    return 0;
}

std::size_t CurlTransfer::bodyGoes(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.upload_.read(bytes, static_cast<std::streamsize>(size * count));
    const auto got = static_cast<std::size_t>(transfer.upload_.gcount());
    transfer.uploadAt_ += got;
    if (got == 0 && transfer.uploadAt_ < transfer.uploadSize_) return CURL_READFUNC_ABORT;  // it became shorter
    return got;
}

int CurlTransfer::bodyRewinds(void* self, curl_off_t offset, int origin) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (origin != SEEK_SET) return CURL_SEEKFUNC_FAIL;
    transfer.upload_.clear();
    transfer.upload_.seekg(offset);
    transfer.uploadAt_ = static_cast<std::uint64_t>(offset);
    return transfer.upload_ ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int CurlTransfer::progressed(void* self, curl_off_t, curl_off_t, curl_off_t toGo, curl_off_t gone) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const auto sent = static_cast<std::uint64_t>(gone);
    if (transfer.told_ && toGo > 0 && sent != transfer.lastTold_) {
        transfer.lastTold_ = sent;
        transfer.told_(sent, static_cast<std::uint64_t>(toGo));
    }
    return *transfer.cancelled_ ? 1 : 0;
}

curl_socket_t CurlTransfer::socketOpens(void* self, curlsocktype, curl_sockaddr* address) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const bool isAllowed =
        isPublicAddress(address->addr) ||
        ((transfer.options_.allowsLoopback || transfer.request_.alsoLoopback) && isLoopbackAddress(address->addr));
    if (isAllowed) return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    transfer.addressRefused_ = true;
    return CURL_SOCKET_BAD;
}

}  // namespace qs
