#include "ResourceProxy.h"

#include <algorithm>
#include <deque>
#include <numeric>
#include <set>

#include "DataUrl.h"
#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "HostSettings.h"
#include "Http/HttpClient.h"
#include "Images/ImageDecoder.h"
#include "Platform.h"
#include "Text/Ascii.h"
#include "Text/MimeTypes.h"
#include "Text/Url.h"
#include "Text/UrlEscaping.h"
#include "Viewer/ResourceLoad.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

constexpr std::size_t kMostAtOnce = 6;
constexpr TimeInterval kLongestSilence = 10, kLongestPicture = 20, kLongestLoad = 30;  // seconds
constexpr std::size_t kMostKeptMessages = 50, kMostKeptBytes = 64u << 20;
// Nothing of the person or of this program; many servers answer no one who says nothing at all.
constexpr const char* kUserAgent = "Mozilla/5.0";

// As a browser writes an address before it asks for it, so that whoever compares addresses compares like with like.
// Empty for what is no address of the web.
std::string normalised(std::string_view address) {
    const std::string text = escapedForUrl(address);
    const auto url = Url::parse(text);
    const std::string scheme = url && url->scheme() ? asciiLowered(*url->scheme()) : std::string();
    // A name and password in an address would be sent along.
    if ((scheme != "http" && scheme != "https") || !url->host() || url->host()->empty() || url->user()) return {};
    const std::size_t authority = text.find("//") + 2;
    const std::size_t path = std::min(text.find_first_of("/?#", authority), text.size());
    return asciiLowered(text.substr(0, path)) + text.substr(path);
}

std::string hostAndPort(const std::string& address) {
    const auto url = Url::parse(address);
    if (!url || !url->host()) return {};
    const int usual = url->scheme() == "https" ? 443 : 80;
    return std::string(*url->host()) + ":" + std::to_string(url->port().value_or(usual));
}

// What a decoder of its own process took for a picture, as it came; empty for anything else. Blocking.
std::string verifiedPicture(ImageDecoder& decoder, const std::string& content) {
    const std::string_view type = pictureTypeOf(content);
    if (type.empty()) return {};
    const auto image = decoder.imageWithData(content, {.bytes = ResourceProxy::kMostBytesOfPicture});
    return image ? dataUrl(type, content) : std::string();
}

}  // namespace

// The pictures of one message on their way. Held by the proxy; the callbacks of requests hold it weakly.
class ResourceProxy::Load : public std::enable_shared_from_this<Load> {
public:
    Load(std::shared_ptr<WebDocument> document, std::deque<std::string> addresses, Pictures known,
         std::function<void(Pictures)> done)
        : document_(std::move(document)),
          waiting_(std::move(addresses)),
          pictures_(std::move(known)),
          done_(std::move(done)) {}

    ~Load() {
        if (deadline_) deadline_->invalidate();
        for (const auto& [address, task] : tasks_)
            if (task) task->cancel();
    }

    void begin() {
        deadline_ = RunLoop::main().after(kLongestLoad, [self = weak_from_this()] {
            if (const auto load = self.lock()) load->finish();
        });
        goOn();
    }

private:
    void goOn() {
        while (tasks_.size() < kMostAtOnce && !waiting_.empty()) {
            const std::string address = std::move(waiting_.front());
            waiting_.pop_front();
            tasks_[address] = nullptr;
            request(address, address, nullptr, 0);
        }
        if (tasks_.empty() && waiting_.empty()) finish();
    }

    // Asks those who stand in front of a request; nothing for one that is not to be made.
    std::string asked(const std::string& target, const ResourceResponse* redirect) {
        const ResourceRequest wanted{normalised(target)};
        if (wanted.absoluteString.empty()) return {};
        try {
            const auto request = resource_load_delegate::webViewResourceWillSendRequest(
                *controller_, nullptr, nullptr, wanted, redirect, document_.get());
            return request ? normalised(request->absoluteString) : std::string();
        } catch (const std::exception&) {
            logCaughtException("A picture is not loaded, as a plug-in could not look at its request");
            return {};
        }
    }

    void request(const std::string& address, const std::string& target, const ResourceResponse* redirect, int hops) {
        const std::string url = asked(target, redirect);
        const auto& http = Platform::current().http;
        if (url.empty() || !http) return end(address, {});
        HttpRequest request{
            .url = url,
            .headers = {{"Accept", "image/png,image/jpeg,image/gif,image/webp;q=0.8"}, {"User-Agent", kUserAgent}},
            .timeout = kLongestSilence,
            .mostSeconds = kLongestPicture,
            .mostBytes = kMostBytesOfPicture,
            .mostRedirects = 0,  // each is asked about
            .publicAddressesOnly = true,
            .alsoLoopback = isLocalPictureServer(hostAndPort(url))};
        tasks_[address] =
            http->send(std::move(request), [self = weak_from_this(), address, url, hops](Result<HttpResponse> answer) {
                if (const auto load = self.lock()) load->answered(address, url, hops, std::move(answer));
            });
    }

    void answered(const std::string& address, const std::string& url, int hops, Result<HttpResponse> answer) {
        if (!answer || (!answer->isSuccess() && answer->redirectUrl.empty())) return end(address, {});
        if (!answer->redirectUrl.empty()) {
            const ResourceResponse redirect{url, answer->status};
            return hops < kMostRedirects ? request(address, answer->redirectUrl, &redirect, hops + 1)
                                         : end(address, {});
        }
        const auto decoder = Platform::current().imageDecoder;
        if (!decoder) return end(address, {});
        RunLoop::main().postToGlobalQueue(
            [self = weak_from_this(), address, decoder, content = std::move(answer->body)] {
                RunLoop::main().post([self, address, picture = verifiedPicture(*decoder, content)] {
                    if (const auto load = self.lock()) load->end(address, picture);
                });
            });
    }

    void end(const std::string& address, const std::string& picture) {
        if (!done_) return;
        if (!picture.empty() && bytes_ + picture.size() <= kMostBytesTogether) {
            bytes_ += picture.size();
            pictures_[address] = picture;
        }
        tasks_.erase(address);
        // In a turn of its own: a request that is refused at once must not lead from one to the next in depth.
        RunLoop::main().post([self = weak_from_this()] {
            if (const auto load = self.lock()) load->goOn();
        });
    }

    void finish() {
        const auto self = shared_from_this();  // the proxy lets go of it
        if (const auto done = std::exchange(done_, nullptr)) done(std::move(pictures_));
    }

    std::shared_ptr<WebDocument> document_;
    std::shared_ptr<WebMessageController> controller_ = std::make_shared<WebMessageController>();
    std::deque<std::string> waiting_;
    std::map<std::string, HttpTaskRef> tasks_;  // null while an answer is looked at
    Pictures pictures_;
    std::size_t bytes_ = 0;
    TimerRef deadline_;
    std::function<void(Pictures)> done_;
};

ResourceProxy::ResourceProxy() = default;
ResourceProxy::~ResourceProxy() = default;

void ResourceProxy::load(std::int64_t message, std::shared_ptr<WebDocument> document,
                         const std::vector<std::string>& addresses, std::function<void(const Pictures&)> done) {
    Pictures known;
    if (const auto found = std::ranges::find(kept_, message, &Kept::message); found != kept_.end())
        known = found->pictures;
    std::deque<std::string> missing;
    std::set<std::string_view> seen;
    for (const std::string& address : addresses)
        if (seen.insert(address).second && seen.size() <= kMostPictures && !known.contains(address))
            missing.push_back(address);
    if (missing.empty()) return done(known);

    const auto place = loads_.insert(loads_.end(), nullptr);
    *place = std::make_shared<Load>(std::move(document), std::move(missing), std::move(known),
                                    [this, message, place, done = std::move(done)](Pictures pictures) {
                                        loads_.erase(place);
                                        keep(message, pictures);
                                        done(pictures);
                                    });
    const auto started = *place;
    started->begin();
}

void ResourceProxy::keep(std::int64_t message, Pictures pictures) {
    std::erase_if(kept_, [&](const Kept& each) { return each.message == message; });
    std::size_t bytes = 0;
    for (const auto& [address, picture] : pictures)
        bytes += address.size() + picture.size();
    if (bytes == 0) return;
    kept_.push_front({message, std::move(pictures), bytes});
    const auto together = [this] {
        return std::accumulate(kept_.begin(), kept_.end(), std::size_t{0},
                               [](std::size_t sum, const Kept& each) { return sum + each.bytes; });
    };
    while (kept_.size() > kMostKeptMessages || together() > kMostKeptBytes)
        kept_.pop_back();
}

}  // namespace qs
