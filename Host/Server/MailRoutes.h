// Content of messages and of compose windows over HTTP: bodies, sources, attachments, pictures. The session has been
// checked by whoever calls.
#pragma once

#include <functional>
#include <memory>

#include "HttpServer/HttpTypes.h"

namespace qs {

class BundleLoader;
class HttpBodySink;
class MailApplication;
class ResourceProxy;

// Whether the path is one of these. If it is, `reply` is called once, perhaps later.
bool answerMailRoute(MailApplication& application, const BundleLoader& bundles, ResourceProxy& proxy,
                     const HttpServerRequest& request, const std::function<void(HttpServerResponse)>& reply);
// Takes what a request brings that attaches a file; null for any other.
std::unique_ptr<HttpBodySink> attachmentUpload(MailApplication& application, const HttpServerRequest& head);

}  // namespace qs
