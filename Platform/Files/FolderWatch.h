// Tells when a file of a folder (or of several) was written or put in place by anybody, from a thread of its own.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace qs {

class FolderWatch {
public:
    enum class Tells { WrittenFiles, GoneFilesToo, FoldersToo };
    // Null if the system cannot watch the folder. The handler gets a file's name; it runs on the watching thread.
    static std::unique_ptr<FolderWatch> make(const std::filesystem::path& folder,
                                             std::function<void(std::string_view name)> handler,
                                             Tells tells = Tells::WrittenFiles);
    // Another folder, with the same handler; false if the system cannot watch it. Watching it again changes nothing. A
    // folder that goes is no longer watched. From every thread.
    virtual bool alsoWatch(const std::filesystem::path& folder) = 0;
    virtual ~FolderWatch() = default;  // waits for a running handler; so never from inside it
};

}  // namespace qs
