// One mail, handed straight to a mail server over libcurl, beside the host's own delivery: fill in the fields, call
// send() with what is to happen afterwards. The complete text goes through a file in the caches folder.
//
// One object serves one mail. The file has the same name for all of them, so that they leave one after the other.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

struct curl_slist;

namespace qs {

// A reverse-domain identifier; the code is libcurl's. The user info has its words under "msg".
inline constexpr const char* SMTPMessageErrorDomain = "com.tallowbay.Quillstead.SMTPMessage";

struct SMTPAttachment {
    std::string name;
    std::filesystem::path filePath;
};

class SMTPMessage : public std::enable_shared_from_this<SMTPMessage> {
public:
    using ProgressCallback = std::function<void(SMTPMessage&, double uploadNow, double uploadTotal)>;
    using SuccessCallback = std::function<void(SMTPMessage&)>;
    using FailureCallback = std::function<void(SMTPMessage&, const Error&)>;

    SMTPMessage();
    ~SMTPMessage();
    SMTPMessage(const SMTPMessage&) = delete;
    SMTPMessage& operator=(const SMTPMessage&) = delete;

    // Control characters are left out of whatever goes into a header or a command.
    std::string from, to;                // bare addresses
    std::vector<std::string> ccs, bccs;  // bare addresses; all of them stand in the text, the blind ones too
    std::optional<std::string> subject;  // written as it stands, without the encoding of headers
    std::string content;
    std::string contentType = "text/html";
    std::vector<SMTPAttachment> attachments;  // one that can't be read is left out

    std::string account, pwd, host = "localhost", port = "465";
    bool ssl = true;                                         // TLS from the first byte
    std::int64_t timeout = 60'000, connectTimeout = 20'000;  // milliseconds: of the whole transfer, of connecting

    // The server's chain and name are checked in any case. Without `ssl` the connection must turn to TLS before
    // anything is said, unless this is set, for a server on this very machine.
    bool allowsOpenConnection = false;
    std::filesystem::path certificateAuthorities;  // a PEM file to trust instead of the system's; empty: the system's

    // Called on the thread that sends. libcurl asks for progress only when it is told to, which nobody does: as things
    // stand, neither the progress callback nor `cancel` has an effect.
    ProgressCallback progressCallback;
    SuccessCallback successCallback;
    FailureCallback failureCallback;
    std::atomic<bool> cancel = false;
    std::string response;  // what the server said, as far as it speaks of errors

    // Keeps the three blocks, any of which may be empty, and sends on a global queue. The file is gone when it is over.
    // The blocks run on that queue.
    void send(ProgressCallback progress, SuccessCallback success, FailureCallback failure);
    // Blocks for the whole conversation. libcurl's code; an assertion failure without a host, account or password.
    int send();
    // Writes the file and answers where it lies.
    std::filesystem::path buildMIME();
    // In lines of 64 characters.
    static std::string base64Encode(std::string_view bytes);

private:
    struct Callbacks;  // libcurl's
    void sendAndTell();
    void setOptions();
    void addRecipients();

    std::FILE* _fd = nullptr;
    std::filesystem::path _filePath;
    void* _handler = nullptr;           // libcurl's easy handle
    curl_slist* _recipients = nullptr;  // grows with each send()
    std::string _boundary;
};

}  // namespace qs
