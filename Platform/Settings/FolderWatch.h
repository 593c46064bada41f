// Tells when a file of a folder was written or put in place by anybody, from a thread of its own. Private to
// UserDefaults.cpp.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace qs {

class FolderWatch {
public:
    // Null if the system cannot watch the folder. The handler gets a file's name; it runs on the watching thread.
    static std::unique_ptr<FolderWatch> make(const std::filesystem::path& folder,
                                             std::function<void(std::string_view name)> handler);
    virtual ~FolderWatch() = default;  // waits for a running handler; so never from inside it
};

}  // namespace qs
