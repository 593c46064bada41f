// Fetches the pictures that a displayed message names on the web, in the page's stead: no cookie, no referrer and
// nothing else of the person goes along, only public addresses are asked, and only what a decoder took for a picture
// comes back. In front of each request stands the host's resource-load operation (Viewer/ResourceLoad.h). Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class WebDocument;

class ResourceProxy {
public:
    // By their addresses, as data: URLs; only those that could be had.
    using Pictures = std::map<std::string, std::string, std::less<>>;

    ResourceProxy();
    ~ResourceProxy();  // ends what is under way; nobody is called back any more
    ResourceProxy(const ResourceProxy&) = delete;
    ResourceProxy& operator=(const ResourceProxy&) = delete;

    // `done` is called once, perhaps at once, within half a minute. What was had for a message is kept for a while, so
    // that looking at it again tells its sender nothing.
    void load(std::int64_t message, std::shared_ptr<WebDocument> document, const std::vector<std::string>& addresses,
              std::function<void(const Pictures&)> done);

    // Of one message, beyond which pictures are left out.
    static constexpr std::size_t kMostPictures = 100;
    static constexpr std::size_t kMostBytesOfPicture = 8u << 20, kMostBytesTogether = 32u << 20;
    static constexpr int kMostRedirects = 5;

private:
    class Load;
    struct Kept {
        std::int64_t message = 0;
        Pictures pictures;
        std::size_t bytes = 0;
    };
    void keep(std::int64_t message, Pictures pictures);

    std::list<Kept> kept_;  // the last one looked at first
    std::list<std::shared_ptr<Load>> loads_;
};

}  // namespace qs
