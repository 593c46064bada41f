// A real IMAP server (Dovecot) of the test's own: an ordinary process on loopback ports, with its users, mail and
// certificates in a temporary folder. Offers what large servers do: CONDSTORE, QRESYNC, MOVE, UIDPLUS, SPECIAL-USE,
// IDLE, COMPRESS. Started by root it runs as an ordinary user.
//
//     DovecotServer server;
//     server.deliver("ada", "Subject: hello\r\n\r\nx\r\n");
//     ImapConnection connection(... server.port() ... server.authority().write(file));
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Support/ServerProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestIdentity.h"

namespace qs {

class ImapConnection;

class DovecotServer {
public:
    struct Options {
        std::map<std::string, std::string> users{{"ada", "analytical"}, {"sam", "gardener-of-bag-end"}};  // passwords
        std::string certificateName = "127.0.0.1";
        std::string settings = {};  // added to the configuration
        // Who is asked about the access tokens of XOAUTH2, each in an "Authorization" header: a web address that
        // answers
        // {"email": user}.
        std::string tokenJudge = {};
    };
    static bool isInstalled();
    DovecotServer();  // throws, with what the server said, when it does not start
    explicit DovecotServer(Options options);
    DovecotServer(const DovecotServer&) = delete;
    DovecotServer& operator=(const DovecotServer&) = delete;

    int port() const { return port_; }        // open, with STARTTLS
    int tlsPort() const { return tlsPort_; }  // TLS from the first byte
    const TestAuthority& authority() const { return authority_; }

    // Puts a message into the user's mailbox, past any protocol. The mailbox need not be there yet; its name as the
    // server writes it, with "." between the levels. `flags` are Maildir's letters; without them it is new.
    void deliver(const std::string& user, std::string_view message, const std::string& mailbox = "INBOX",
                 const std::string& flags = "");
    std::filesystem::path maildir(const std::string& user) const;

    // Another mail program of the user's, signed in over the open port. Throws when it can't.
    std::unique_ptr<ImapConnection> signIn(const std::string& user) const;

    void stop() { process_.stop(); }  // as a server that goes down: connections break
    void restart();                   // at the same ports
    std::string log() const { return process_.log(); }

private:
    void writeConfiguration(const Options& options);
    bool start();
    void own(const std::filesystem::path& path) const;  // hands it to the user that the server runs as

    TemporaryFolder folder_;
    TestAuthority authority_;
    Options options_;
    int port_ = 0, tlsPort_ = 0;
    int delivered_ = 0;
    ServerProcess process_;  // last, so that it ends before its folder goes
};

}  // namespace qs
