#include "Dns/ServiceRecords.h"

#include <arpa/nameser.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <array>

namespace qs {

namespace {

constexpr int kAttemptSeconds = 3, kAttempts = 2;
constexpr std::size_t kMostRecords = 20;
constexpr std::size_t kFixedPart = 6;  // priority, weight, port

class Resolver {
public:
    Resolver() : isReady_(::res_ninit(&state_) == 0) {
        state_.retrans = kAttemptSeconds;
        state_.retry = kAttempts;
    }
    ~Resolver() {
        if (isReady_) ::res_nclose(&state_);
    }
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

    Result<std::vector<ServiceRecord>> ask(const std::string& name) {
        if (!isReady_) return failure("ServiceRecords", 1, "The names of servers can't be looked up.");
        std::array<unsigned char, NS_MAXMSG> answer{};
        const int length = ::res_nquery(&state_, name.c_str(), ns_c_in, ns_t_srv, answer.data(), answer.size());
        if (length < 0) {
            if (state_.res_h_errno == HOST_NOT_FOUND || state_.res_h_errno == NO_DATA)
                return std::vector<ServiceRecord>();
            return failure("ServiceRecords", 2, "The name server did not answer.");
        }
        const auto size = std::min(static_cast<std::size_t>(length), answer.size());
        return serviceRecordsIn({reinterpret_cast<const char*>(answer.data()), size});
    }

private:
    struct __res_state state_ {};
    bool isReady_;
};

}  // namespace

std::vector<ServiceRecord> serviceRecordsIn(std::string_view answer) {
    std::vector<ServiceRecord> records;
    ns_msg message;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(answer.data());
    if (::ns_initparse(bytes, static_cast<int>(answer.size()), &message) != 0) return records;
    for (int i = 0; i < ns_msg_count(message, ns_s_an) && records.size() < kMostRecords; ++i) {
        ns_rr record;
        if (::ns_parserr(&message, ns_s_an, i, &record) != 0) break;
        if (ns_rr_type(record) != ns_t_srv || ns_rr_rdlen(record) <= kFixedPart) continue;
        const unsigned char* const data = ns_rr_rdata(record);
        std::array<char, NS_MAXDNAME> host{};
        if (::ns_name_uncompress(ns_msg_base(message), ns_msg_end(message), data + kFixedPart, host.data(),
                                 host.size()) < 0)
            continue;
        // A lone dot says that the service is decidedly not offered.
        const auto number = [&](int at) { return static_cast<int>(ns_get16(data + at)); };
        const ServiceRecord found{.host = host.data(), .port = number(4), .priority = number(0), .weight = number(2)};
        if (found.host.empty() || found.host == "." || found.port == 0) continue;
        records.push_back(found);
    }
    std::stable_sort(records.begin(), records.end(), [](const auto& a, const auto& b) {
        return a.priority != b.priority ? a.priority < b.priority : a.weight > b.weight;
    });
    return records;
}

ServiceLookup systemServiceLookup() {
    return [](const std::string& name) { return Resolver().ask(name); };
}

}  // namespace qs
