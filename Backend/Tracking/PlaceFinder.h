// Where an address is, by a database file on this machine in the MaxMind DB format
// (https://maxmind.github.io/MaxMind-DB/). Nothing is asked of anybody. From every thread.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Foundation/Result.h"

namespace qs {

struct Place {
    std::string country, city;  // English names
    std::string timezone;       // IANA name
};

class PlaceFinder {
public:
    virtual ~PlaceFinder() = default;
    static Result<std::unique_ptr<PlaceFinder>> open(const std::filesystem::path& file);
    // Empty for what the database does not know.
    virtual Place find(const std::string& address) const = 0;
};

}  // namespace qs
