// Where a domain offers a service, by its SRV records (RFC 2782).
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct ServiceRecord {
    std::string host;  // without the dot at its end
    int port = 0, priority = 0, weight = 0;
};

// Asked with a whole name ("_imaps._tcp.example.org"). Best first; an empty list: the domain does not offer that. From
// every thread; may block for some seconds.
using ServiceLookup = std::function<Result<std::vector<ServiceRecord>>(const std::string& name)>;

// Asks the system's resolver, for at most 6 s at each of its servers.
ServiceLookup systemServiceLookup();
// Takes an answer of DNS apart. Damaged or foreign records are left out.
std::vector<ServiceRecord> serviceRecordsIn(std::string_view answer);

}  // namespace qs
