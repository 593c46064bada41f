// What a message's file told when it was read for the index.
#pragma once

#include "Library/LibraryCore.h"

namespace qs {

struct LibraryCore::Parsed {
    NewFile file;
    int flags = 0;
    Date delivered;
    std::uint64_t size = 0;
    MessageFacts facts;
};

}  // namespace qs
