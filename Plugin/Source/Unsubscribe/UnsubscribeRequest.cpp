#include "Unsubscribe/UnsubscribeRequest.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Unsubscribe/UnsubscribeHeader.h"

namespace qs {

namespace {

constexpr int kMostHops = 5;
constexpr TimeInterval kLongestSilence = 30, kLongestRequest = 60;
constexpr std::uint64_t kMostBytes = 4 << 20;  // of an answer that nobody reads
// Nothing of the person or of this program; many servers answer no one who says nothing at all.
constexpr const char* kUserAgent = "Mozilla/5.0";
// Servers on this machine that the person has named, as "127.0.0.1:8080".
constexpr const char* kLocalServers = "QSLocalNewsletterServers";

bool isNamed(const std::string& place) {
    const Value named = QSPluginDelegate::quillsteadDefaults().objectForKey(kLocalServers);
    return std::ranges::any_of(named.array(), [&](const Value& each) { return each.stringValue() == place; });
}

bool asksForTheSameElsewhere(int status) { return status == 301 || status == 307 || status == 308; }

using Completion = std::function<void(Result<int>)>;

void post(UnsubscribeRequest request, int hops, Completion completion) {
    const auto form = unsubscribeFormFrom(request.url);
    const auto& http = Platform::current().http;
    if (!form || !http) {
        const auto code = form ? HttpError::NotConnected : HttpError::BadUrl;
        const char* const text = form ? "There is no network." : "This is no address of the web.";
        return RunLoop::main().post([=, completion = std::move(completion)] {
            completion(failure(kHttpErrorDomain, static_cast<int>(code), text));
        });
    }
    HttpRequest sent{.method = "POST",
                     .url = form->wholeUrl,
                     .headers = {{"Content-Type", "application/x-www-form-urlencoded"}, {"User-Agent", kUserAgent}},
                     .body = request.body,
                     .timeout = kLongestSilence,
                     .mostSeconds = kLongestRequest,
                     .mostBytes = kMostBytes,
                     .mostRedirects = 0,
                     .publicAddressesOnly = true,
                     .alsoLoopback = isNamed(form->place)};
    http->send(std::move(sent), [request, hops, wasSecure = form->isSecure,
                                 completion = std::move(completion)](Result<HttpResponse> answer) mutable {
        if (!answer) return completion(failed(answer));
        const bool goesOn = request.followsRedirects && !answer->redirectUrl.empty() && hops < kMostHops &&
                            asksForTheSameElsewhere(answer->status);
        const auto next = goesOn ? unsubscribeFormFrom(answer->redirectUrl) : std::nullopt;
        if (!next || (wasSecure && !next->isSecure)) return completion(answer->status);
        request.url = next->wholeUrl;
        post(std::move(request), hops + 1, std::move(completion));
    });
}

}  // namespace

void postUnsubscribeRequest(UnsubscribeRequest request, std::function<void(Result<int>)> completion) {
    post(std::move(request), 0, std::move(completion));
}

}  // namespace qs
