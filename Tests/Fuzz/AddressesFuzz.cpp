// Feeds any bytes as an address field to the parser. An address that a message could go to must come through being
// written and read again.
#include <cstdlib>

#include "Mime/Addresses.h"
#include "Text/MailAddresses.h"
#include "Text/Utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const auto demand = [](bool isTrue) {
        if (!isTrue) std::abort();
    };
    for (const auto& found : qs::parseAddresses({reinterpret_cast<const char*>(bytes), size})) {
        const std::string display = found.display();
        demand(qs::isValidUtf8(display));
        if (!qs::isDeliverableAddress(found.address)) continue;
        const auto again = qs::parseAddresses(display);
        demand(again.size() == 1 && again.front().address == found.address);
    }
    return 0;
}
