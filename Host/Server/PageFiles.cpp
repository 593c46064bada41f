#include "PageFiles.h"

#include <algorithm>

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

// One directive a line, lines that begin with # are remarks.
std::string policyFrom(std::string_view text) {
    std::string policy;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.empty() || line.front() == '#') continue;
        if (!policy.empty()) policy += "; ";
        policy += line;
    }
    return policy;
}

std::string withHost(std::string policy, std::string_view host) {
    constexpr std::string_view kPlace = "{host}";
    for (auto at = policy.find(kPlace); at != std::string::npos; at = policy.find(kPlace, at + host.size()))
        policy.replace(at, kPlace.size(), host);
    return policy;
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
    const auto policy = page.files_.extract("/CSP.txt");
    if (policy) page.policy_ = policyFrom(policy.mapped().content);
    if (page.policy_.empty())
        return failure("HostServer", 2,
                       "The page's content policy is missing in " + folder.string() + ". Build the page again.");
    return page;
}

bool PageFiles::has(std::string_view path) const { return files_.find(path) != files_.end(); }

HttpServerResponse PageFiles::answer(const HttpServerRequest& request) const {
    const auto found = files_.find(request.path);
    if (found == files_.end()) return HttpServerResponse::text(404, "There is nothing here.");
    if (request.method != "GET" && request.method != "HEAD")
        return HttpServerResponse::text(405, "Only GET is known here.");
    HttpServerResponse response{200, {{"Content-Type", found->second.type}}, found->second.content};
    response.headers.emplace_back("Content-Security-Policy", withHost(policy_, request.header("Host")));
    response.headers.emplace_back("Permissions-Policy", "camera=(), microphone=(), geolocation=()");
    return response;
}

}  // namespace qs
