// The text of a message as the page shows it: what a plug-in made of it, cleaned, with its own pictures in it, and with
// those on the web where the person wants to see them. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "HttpServer/HttpTypes.h"

namespace qs {

class MailApplication;
class MimeMessage;
class ResourceProxy;

using Reply = std::function<void(HttpServerResponse)>;

// `reply` is called once: at once, or when the pictures on the web have come.
void answerMessageBody(MailApplication& application, ResourceProxy& proxy, std::int64_t id,
                       const std::shared_ptr<const MimeMessage>& message, bool showsRemotePictures, const Reply& reply);

// The bare address of the one who wrote the message; empty when it names nobody, or several.
std::string senderAddress(MailApplication& application, std::int64_t id);

}  // namespace qs
