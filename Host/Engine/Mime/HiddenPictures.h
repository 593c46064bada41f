// Pictures on the web that nobody sees. They tell their server when a message is read, so they belong to the one
// message that they were put into. Thread-safe.
#pragma once

#include <filesystem>
#include <memory>

#include "Foundation/ByteSource.h"

namespace qs {

class OpenFile;

// The message without them; unchanged, byte for byte, when there are none. A changed one is put aside in the folder
// while it is read.
Result<ByteSource> withoutHiddenPictures(std::shared_ptr<const OpenFile> message, const std::filesystem::path& folder);

}  // namespace qs
