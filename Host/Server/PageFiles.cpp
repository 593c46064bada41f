#include "PageFiles.h"

#include "Foundation/FileSystem.h"

namespace qs {

namespace {

constexpr std::pair<std::string_view, const char*> kTypes[] = {{".html", "text/html; charset=utf-8"},
                                                               {".js", "text/javascript; charset=utf-8"},
                                                               {".css", "text/css; charset=utf-8"},
                                                               {".svg", "image/svg+xml"},
                                                               {".json", "application/json"},
                                                               {".png", "image/png"},
                                                               {".webmanifest", "application/manifest+json"}};

const char* typeOf(const std::filesystem::path& file) {
    for (const auto& [ending, type] : kTypes)
        if (file.extension() == ending) return type;
    return "application/octet-stream";
}

// Scripts, styles and connections of our own only. The editor needs inline styles; pictures of messages are data
// addresses, attachments that the page shows are blobs; a message is shown in a frame made of text (srcdoc).
std::string contentPolicy(const std::string& host) {
    return "default-src 'none'; script-src 'self'; style-src 'self' 'unsafe-inline'; img-src 'self' data: blob:; "
           "font-src 'self'; connect-src 'self' ws://" +
           host +
           "; frame-src 'self' blob:; manifest-src 'self'; base-uri 'none'; form-action 'none'; "
           "frame-ancestors 'none'; object-src 'none'";
}

}  // namespace

Result<PageFiles> PageFiles::load(const std::filesystem::path& folder) {
    PageFiles page;
    auto& disk = FileSystem::real();
    auto listing = disk.list(folder);
    if (!listing) return failed(listing);
    for (const auto& file : *listing) {
        if (file.isFolder) continue;
        auto content = disk.read(file.path);
        if (!content) return failed(content);
        page.files_["/" + file.path.filename().string()] = {typeOf(file.path), std::move(*content)};
    }
    if (!page.files_.contains("/index.html"))
        return failure("HostServer", 1,
                       "The page's files are missing in " + folder.string() + ". Build the page first.");
    page.files_["/"] = page.files_["/index.html"];
    return page;
}

bool PageFiles::has(std::string_view path) const { return files_.find(path) != files_.end(); }

HttpResponse PageFiles::answer(const HttpRequest& request) const {
    const auto found = files_.find(request.path);
    if (found == files_.end()) return HttpResponse::text(404, "There is nothing here.");
    if (request.method != "GET" && request.method != "HEAD") return HttpResponse::text(405, "Only GET is known here.");
    HttpResponse response{200, {{"Content-Type", found->second.type}}, found->second.content};
    response.headers.emplace_back("Content-Security-Policy", contentPolicy(request.header("Host")));
    response.headers.emplace_back("Permissions-Policy", "camera=(), microphone=(), geolocation=()");
    return response;
}

}  // namespace qs
