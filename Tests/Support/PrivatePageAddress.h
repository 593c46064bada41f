// Where a page leads that was opened from a file, as a browser finds it out.
#pragma once

#include <string>

#include "Foundation/FileSystem.h"

namespace qs {

// Of an opened address: itself when it is none of a file; empty when the file is gone or leads nowhere.
inline std::string addressBehind(const std::string& opened) {
    constexpr std::string_view kFile = "file://", kRefresh = "content=\"0;url=";
    if (!opened.starts_with(kFile)) return opened;
    const auto page = FileSystem::real().read(opened.substr(kFile.size()));
    const auto begin = page ? page->find(kRefresh) : std::string::npos;
    if (begin == std::string::npos) return {};
    const auto from = begin + kRefresh.size();
    std::string address = page->substr(from, page->find('"', from) - from);
    for (std::size_t at = 0; (at = address.find("&amp;", at)) != std::string::npos; ++at)
        address.replace(at, 5, "&");
    return address;
}

}  // namespace qs
