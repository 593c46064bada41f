// Facts about the machine, the user and this process.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qs {

struct OperatingSystemVersion {
    int major = 10, minor = 12, patch = 0;
};

class ProcessInfo {
public:
    virtual ~ProcessInfo() = default;
    // The version of the host's interface generation; of it only the minor number, 10, 11 or 12, is ever tested.
    virtual OperatingSystemVersion operatingSystemVersion() const = 0;
    virtual std::string hostName() const = 0;
    virtual std::string userFullName() const = 0;
    // Where the user's own files of this program lie (settings, mail, store, logs).
    virtual std::filesystem::path dataFolder() const = 0;
    // Where the plug-in's store lives; below the data folder.
    virtual std::filesystem::path documentsFolder() const = 0;
    virtual std::filesystem::path logFolder() const = 0;
    // The same for this machine from start to start, made for this program alone: nobody learns from it what other
    // programs call the machine. Empty when the system does not tell, as in the next two.
    virtual std::string machineIdentifier() const { return {}; }
    virtual std::string machineModel() const { return {}; }  // as its maker names it
    // In this order, such as "de-DE", "en".
    virtual std::vector<std::string> preferredLanguages() const { return {}; }
};

}  // namespace qs
