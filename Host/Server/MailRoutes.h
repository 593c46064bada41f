// Content of messages and of compose windows over HTTP: bodies, sources, attachments, pictures. The session has been
// checked by whoever calls.
#pragma once

#include <cstdint>
#include <functional>

#include "HttpServer/HttpTypes.h"

namespace qs {

class BundleLoader;
class MailApplication;
class ResourceProxy;

inline constexpr std::uint64_t kAttachmentLimit = 64ull * 1024 * 1024;  // bytes

// Whether the path is one of these. If it is, `reply` is called once, perhaps later.
bool answerMailRoute(MailApplication& application, const BundleLoader& bundles, ResourceProxy& proxy,
                     const HttpServerRequest& request, const std::function<void(HttpServerResponse)>& reply);
// A request that brings an attachment.
bool isAttachmentUpload(const HttpServerRequest& head);

}  // namespace qs
