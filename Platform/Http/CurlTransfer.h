// One HTTP request as libcurl sees it, over all its redirects; private to this folder. It lives on the client's thread.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Http/HttpClient.h"

namespace qs {

class CurlTransfer {
public:
    using Flag = std::shared_ptr<std::atomic<bool>>;
    // `told` is called on the client's thread with what has left of the body; the request's `bodyArrives` likewise.
    // `cancelled` may be set by any thread, and takes effect within a second.
    CurlTransfer(HttpRequest request, const HttpClient::Options& options, Flag cancelled,
                 std::function<void(std::uint64_t sent, std::uint64_t total)> told);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    // What is wrong with the request itself, found before anything is sent.
    std::optional<Error> start();
    CURL* easy() const { return easy_.get(); }
    bool isCancelled() const { return *cancelled_; }

    // After libcurl has ended it. Nothing: it was redirected, and is to be run again.
    std::optional<Result<HttpResponse>> ended(CURLcode code);

private:
    struct EasyDeleter {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    };
    struct ListDeleter {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    Error errorOf(HttpError code, std::string description) const;
    Error errorOf(CURLcode code) const;
    void setUrl();
    void setSafety();
    void setHeaders();
    void setBody();
    bool isLeavingOrigin(const std::string& target) const;
    std::optional<Error> redirect(const std::string& target);
    std::optional<Error> keepAnswer();
    void forgetAnswer();

    static std::size_t headerCame(char* bytes, std::size_t size, std::size_t count, void* self);
    static std::size_t bodyCame(char* bytes, std::size_t size, std::size_t count, void* self);
    static std::size_t bodyGoes(char* bytes, std::size_t size, std::size_t count, void* self);
    static int bodyRewinds(void* self, curl_off_t offset, int origin);
    static int progressed(void* self, curl_off_t toCome, curl_off_t came, curl_off_t toGo, curl_off_t gone);
    static curl_socket_t socketOpens(void* self, curlsocktype purpose, curl_sockaddr* address);

    HttpRequest request_;
    const HttpClient::Options& options_;
    const Flag cancelled_;
    const std::function<void(std::uint64_t, std::uint64_t)> told_;
    std::unique_ptr<CURL, EasyDeleter> easy_;
    std::unique_ptr<curl_slist, ListDeleter> headerList_;
    std::ifstream upload_;
    std::ofstream saved_;
    std::uint64_t uploadSize_ = 0, uploadAt_ = 0, bodySize_ = 0, lastTold_ = 0;
    HttpResponse response_;
    int redirects_ = 0;
    bool tooLarge_ = false, addressRefused_ = false, cannotSave_ = false;
    char reason_[CURL_ERROR_SIZE] = {};
};

}  // namespace qs
