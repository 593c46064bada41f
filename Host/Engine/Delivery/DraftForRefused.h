// What remains to be done when a message reached some of its recipients and others were refused for good.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "Foundation/ByteSource.h"

namespace qs {

class OpenFile;

// The message as a draft to the refused recipients alone, each in the field where it stood. It becomes a message of its
// own: without Message-Id, unique id, the headers of other programs and pictures that tell when it is read. What has to
// be put aside meanwhile lies in the folder.
Result<ByteSource> draftForRefused(std::shared_ptr<const OpenFile> content,
                                   const std::map<std::string, std::string>& refused,
                                   const std::filesystem::path& folder);

}  // namespace qs
