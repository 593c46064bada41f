// Certificates for test servers, made on the spot.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace qs {

struct TestIdentity {
    std::string certificate, key;   // PEM
    bool speaksOldTlsOnly = false;  // nothing above 1.1
};

// An authority whose certificate a client is told to trust.
class TestAuthority {
public:
    TestAuthority();
    ~TestAuthority();

    struct Options {
        std::string name = "127.0.0.1";  // a DNS name or an IPv4 address
        bool isExpired = false;
        bool speaksOldTlsOnly = false;
    };
    TestIdentity issue(const Options& options) const;
    TestIdentity issue() const { return issue(Options{}); }
    const std::string& certificate() const { return certificate_; }  // PEM
    std::filesystem::path write(const std::filesystem::path& file) const;

private:
    struct Held;
    std::unique_ptr<Held> held_;
    std::string certificate_;
};

}  // namespace qs
