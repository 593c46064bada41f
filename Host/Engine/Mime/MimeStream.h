// A file or text as a stream of the MIME library, which so reads messages of any size without holding them.
#pragma once

#include <gmime/gmime.h>

#include <atomic>
#include <memory>

#include "Foundation/FileSystem.h"

namespace qs {

class SpoolFile;

// What all streams over one file share, the parts of a message included.
struct MimeSource {
    std::shared_ptr<const OpenFile> file;
    mutable std::atomic<bool> isBroken = false;  // reading failed somewhere
};

// To be released with g_object_unref. What is written to it goes to the end of that file, which must outlive it.
GMimeStream* newMimeStream(SpoolFile& file);

// To be released with g_object_unref. Streams over one file may be read from several threads, each by one.
GMimeStream* newMimeStream(std::shared_ptr<const MimeSource> source);

}  // namespace qs
