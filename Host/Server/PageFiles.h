// The built page's files, read once: a handful, all known by name, so that no request can name any other file.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "HttpServer/HttpTypes.h"

namespace qs {

class PageFiles {
public:
    // Fails when the folder has no index.html, or no CSP.txt with the content policy (Host/Page/CSP.txt tells its
    // form).
    static Result<PageFiles> load(const std::filesystem::path& folder);
    // 404 for a path that is none of the files. "/" is index.html, which carries the content policy for the host's
    // name.
    HttpServerResponse answer(const HttpServerRequest& request) const;
    bool has(std::string_view path) const;

private:
    struct File {
        std::string type, content;
    };
    std::map<std::string, File, std::less<>> files_;
    std::string policy_;  // with "{host}" for the host's name
};

}  // namespace qs
