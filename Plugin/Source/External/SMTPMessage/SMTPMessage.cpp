// The conversation with the server. The option by which the progress function is set is an old one of libcurl's.
#define CURL_DISABLE_DEPRECATION

#include "SMTPMessage/SMTPMessage.h"

#include <curl/curl.h>

#include <mutex>

#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "SMTPMessage/SMTPServerKey.h"
#include "SMTPMessage/SMTPText.h"

namespace qs {

namespace {

// The file that holds a message's text has one name.
std::mutex& oneAtATime() {
    static std::mutex lock;
    return lock;
}

// An IPv6 address stands in brackets.
std::string hostOfUrl(const std::string& host) {
    const bool needsBrackets = host.find(':') != std::string::npos && !host.starts_with('[');
    return needsBrackets ? "[" + host + "]" : host;
}

}  // namespace

struct SMTPMessage::Callbacks {
    // With SMTP nothing comes on this way; something that did would end the transfer.
    static std::size_t write(char* bytes, std::size_t size, std::size_t count, void* user) {
        if (size * count != 0) static_cast<SMTPMessage*>(user)->response.append(bytes, size * count);
        return 0;
    }
    static std::size_t header(char* bytes, std::size_t size, std::size_t count, void* user) {
        const std::string_view line(bytes, size * count);
        if (line.find("Error") != std::string_view::npos) static_cast<SMTPMessage*>(user)->response.append(line);
        return line.size();
    }
    static int progress(void* user, double, double, double uploadTotal, double uploadNow) {
        auto& message = *static_cast<SMTPMessage*>(user);
        if (uploadNow != 0 && message.progressCallback) message.progressCallback(message, uploadNow, uploadTotal);
        return message.cancel ? 1 : 0;
    }
    // The password and the mail pass by here.
    static int dropDetails(CURL*, curl_infotype, char*, std::size_t, void*) { return 0; }
};

SMTPMessage::SMTPMessage() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (ready == CURLE_OK) _handler = curl_easy_init();
    _boundary = stringWithFormat("----=_NextPart_%@", {smtp_text::secondsNow()});
}

SMTPMessage::~SMTPMessage() {
    curl_slist_free_all(_recipients);
    if (_handler) curl_easy_cleanup(_handler);
    if (_fd) std::fclose(_fd);
}

void SMTPMessage::send(ProgressCallback progress, SuccessCallback success, FailureCallback failure) {
    progressCallback = std::move(progress);
    successCallback = std::move(success);
    failureCallback = std::move(failure);
    RunLoop::main().postToGlobalQueue([self = shared_from_this()] { self->sendAndTell(); });
}

void SMTPMessage::sendAndTell() {
    const std::unique_lock turn(oneAtATime());
    if (const int code = send(); code != 0) {
        const std::string words = curl_easy_strerror(static_cast<CURLcode>(code));
        const Error error{SMTPMessageErrorDomain, code, words, {{"msg", words}}};
        logError(stringWithFormat("SMTPMessage send error:%@", {words}));
        if (failureCallback) failureCallback(*this, error);
    } else if (successCallback) {
        successCallback(*this);
    }
    if (!_filePath.empty()) (void)FileSystem::real().remove(_filePath);
}

int SMTPMessage::send() {
    assertThat(!host.empty(), "host is nil");
    assertThat(!account.empty(), "accout is nil");
    assertThat(!pwd.empty(), "password is nil");
    if (!_handler) return CURLE_FAILED_INIT;
    setOptions();
    if (ssl || !allowsOpenConnection) {
        // curl's own check of the name is off, so it is made beforehand, and this connection bound to its outcome.
        const std::string url = stringWithFormat(ssl ? "smtps://%@:%@" : "smtp://%@:%@", {hostOfUrl(host), port});
        const SMTPServerKey key = verifiedSMTPServerKey(url, certificateAuthorities, timeout, connectTimeout);
        if (key.code != 0) return key.code;
        curl_easy_setopt(_handler, CURLOPT_PINNEDPUBLICKEY, key.pin.c_str());
        curl_easy_setopt(_handler, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    }
    if (!_fd) return CURLE_READ_ERROR;
    return curl_easy_perform(_handler);
}

void SMTPMessage::setOptions() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(_handler, option, value); };
    const auto setText = [&](CURLoption option, const std::string& text) { set(option, text.c_str()); };
    setText(CURLOPT_URL, stringWithFormat(ssl ? "smtps://%@:%@" : "smtp://%@:%@", {hostOfUrl(host), port}));
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(connectTimeout));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(timeout));
    setText(CURLOPT_USERNAME, account);
    setText(CURLOPT_PASSWORD, pwd);
    setText(CURLOPT_MAIL_FROM, stringWithFormat("<%@>", {smtp_text::withoutControls(from)}));
    addRecipients();
    set(CURLOPT_MAIL_RCPT, _recipients);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Callbacks::write);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_HEADERFUNCTION, &Callbacks::header);
    set(CURLOPT_PROGRESSDATA, this);
    set(CURLOPT_PROGRESSFUNCTION, &Callbacks::progress);
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 0L);
    _filePath = buildMIME();
    if (_fd) std::fclose(_fd);
    _fd = std::fopen(_filePath.c_str(), "rb");
    set(CURLOPT_READDATA, _fd);
    set(CURLOPT_VERBOSE, 1L);

    set(CURLOPT_DEBUGFUNCTION, &Callbacks::dropDetails);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!certificateAuthorities.empty()) set(CURLOPT_CAINFO, certificateAuthorities.c_str());
}

void SMTPMessage::addRecipients() {
    const auto add = [this](const std::string& recipient) {
        _recipients = curl_slist_append(_recipients, recipient.c_str());
    };
    add(stringWithFormat("<%@>", {smtp_text::withoutControls(to)}));
    for (const auto* each : {&ccs, &bccs})
        for (const std::string& recipient : *each)
            add(smtp_text::withoutControls(recipient));
}

}  // namespace qs
