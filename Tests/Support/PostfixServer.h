// A real submission server (Postfix) of the test's own: ordinary processes on loopback ports, with queue, certificates
// and the mail it took in a temporary folder. Signing in is left to a Dovecot of the test's own, as mail servers do.
//
// Its master process insists on being root's. Where the tests are not, mayRun() says so, and they have to be skipped.
//
//     PostfixServer server({.answers = {{"eve@x.example", "550 5.1.1 nobody of that name"}}});
//     ... server.port() ... server.authority().write(file) ... user "ada", password "analytical"
//     EXPECT_EQ(server.received("a@x.example").size(), 1u);
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Support/DovecotServer.h"
#include "Support/ServerProcess.h"
#include "Support/TemporaryFolder.h"

namespace qs {

class PostfixServer {
public:
    struct Options {
        std::map<std::string, std::string> answers;  // to recipients it does not take: "450 4.2.0 later"
        long long sizeLimit = 200'000'000;           // bytes of a message
        bool takesUtf8 = true;                       // SMTPUTF8
        bool wantsSignIn = true;                     // and encryption for it
    };
    static std::string whyNot();  // it can't run here; empty when it can
    PostfixServer();              // throws, with what the server said, when it does not start
    explicit PostfixServer(Options options);

    int port() const { return port_; }        // open, with STARTTLS
    int tlsPort() const { return tlsPort_; }  // TLS from the first byte
    const TestAuthority& authority() const { return dovecot_.authority(); }
    void restart(Options options);  // at the same ports, with the same mail

    // What was delivered to that address of x.example, as the server keeps it: its own lines in front, line
    // ends of the disk. Waits until the server's queue is empty.
    std::vector<std::string> received(std::string_view address) const;
    std::string log() const { return process_.log(); }

private:
    void writeConfiguration(const Options& options) const;
    bool start(const Options& options);

    TemporaryFolder folder_;
    DovecotServer dovecot_;
    int port_ = 0, tlsPort_ = 0;
    mutable int marks_ = 0;
    ServerProcess process_;  // last, so that it ends before its folder goes
};

}  // namespace qs
