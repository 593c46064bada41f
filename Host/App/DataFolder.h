// The folder that holds all that is the user's: mail, settings, logs. Chosen and made fit before anything is opened.
#pragma once

#include <filesystem>
#include <string>

#include "Foundation/Result.h"
#include "HostOptions.h"

namespace qs {

struct DataFolder {
    std::filesystem::path path;  // absolute
    bool isDemo = false;         // demo mails may be put into it while it has no accounts
    std::string remark;          // why it is this one, when that could surprise; else empty
};

// The folder given by --data; else "quillstead" or, for a demo and while there are no accounts, "quillstead-demo" in
// the user's data folder ($XDG_DATA_HOME, else ~/.local/share). Fails when there is no such place.
Result<DataFolder> chooseDataFolder(const HostOptions& options);

// Makes it, for its owner alone. Fails with a sentence when it can't be read and written, or belongs to somebody else.
Result<void> prepareDataFolder(const std::filesystem::path& folder);

}  // namespace qs
