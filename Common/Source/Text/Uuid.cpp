#include "Text/Uuid.h"

#include <random>

namespace qs {

namespace {

std::string hex(unsigned number, int digits) {
    std::string text;
    for (int i = digits - 1; i >= 0; --i)
        text += "0123456789ABCDEF"[number >> (4 * i) & 15];
    return text;
}

}  // namespace

std::string newUUIDString() {
    std::random_device device;  // the system's source
    const unsigned a = device(), b = device(), c = device(), d = device();
    return hex(a, 8) + "-" + hex(b >> 16, 4) + "-4" + hex(b & 0xFFF, 3) + "-" + hex((c >> 16 & 0x3FFF) | 0x8000, 4) +
           "-" + hex(c & 0xFFFF, 4) + hex(d, 8);
}

}  // namespace qs
