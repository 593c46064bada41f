// How letters leave: by a mail server, or into a Maildir, which is a local account's inbox or a demo's. Blocking; from
// every thread.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;
struct BackendConfiguration;

struct OutgoingLetter {
    std::string from, to;
    std::string content;  // transmitted form, CR LF line ends
};

enum class SendOutcome {
    Sent,
    Later,   // another attempt may succeed
    Refused  // for good, or it may have been sent: not to be tried again
};

class MailSender {
public:
    virtual ~MailSender() = default;
    // Fails when the Maildir can't be made.
    static Result<std::unique_ptr<MailSender>> make(const BackendConfiguration& configuration, FileSystem& files);
    virtual SendOutcome send(const OutgoingLetter& letter) = 0;  // logs why not
};

}  // namespace qs
