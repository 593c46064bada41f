// Content of messages and of compose windows over HTTP: bodies, sources, attachments, pictures. The session has been
// checked by whoever calls.
#pragma once

#include <cstdint>
#include <optional>

#include "HttpServer/HttpTypes.h"

namespace qs {

class BundleLoader;
class MailApplication;

inline constexpr std::uint64_t kAttachmentLimit = 64ull * 1024 * 1024;  // bytes

// Nothing for a path that is not one of these.
std::optional<HttpServerResponse> answerMailRoute(MailApplication& application, const BundleLoader& bundles,
                                                  const HttpServerRequest& request);
// A request that brings an attachment.
bool isAttachmentUpload(const HttpServerRequest& head);

}  // namespace qs
