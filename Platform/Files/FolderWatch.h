// Tells when a file of a folder was written or put in place by anybody, from a thread of its own.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace qs {

class FolderWatch {
public:
    enum class Tells { WrittenFiles, GoneFilesToo };
    // Null if the system cannot watch the folder. The handler gets a file's name; it runs on the watching thread.
    static std::unique_ptr<FolderWatch> make(const std::filesystem::path& folder,
                                             std::function<void(std::string_view name)> handler,
                                             Tells tells = Tells::WrittenFiles);
    virtual ~FolderWatch() = default;  // waits for a running handler; so never from inside it
};

}  // namespace qs
