// Identifiers that never come twice (RFC 9562, version 4). Thread-safe.
#pragma once

#include <string>

namespace qs {

// Random, in upper case: "5E5E8E8B-0D8A-4C7B-9E8D-2F6B1C0A9D3E".
std::string newUUIDString();

}  // namespace qs
