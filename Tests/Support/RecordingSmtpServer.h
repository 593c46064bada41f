// A submission server that keeps what it takes and misbehaves where a test wants it to. Strict about the protocol: what
// no server should have to forgive is noted as a violation.
//
//     RecordingSmtpServer server;
//     server.add({.stage = SmtpStage::Recipient, .match = "eve@", .reply = "550 5.1.1 nobody of that name"});
//     server.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = true, .times = 1});
//     ...
//     EXPECT_EQ(server.timesReceived("1@example.org"), 1);
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/TestIdentity.h"

namespace qs {

enum class SmtpStage { Greeting, Hello, StartTls, Authentication, Sender, Recipient, Data, Body, FinalDot, Quit };

struct SmtpRule {
    SmtpStage stage = SmtpStage::FinalDot;
    std::string match;          // in the command; empty: every one
    std::string reply;          // instead of the usual answer
    bool hangsUp = false;       // without an answer
    bool stalls = false;        // says nothing more until the client goes
    bool keepsMessage = false;  // at the final dot: takes it although it says otherwise or nothing
    int times = -1;             // how often the rule holds; -1 always
};

struct ReceivedMail {
    std::string from, messageID, content;  // as sent, dots unstuffed
    std::vector<std::string> to;
    bool isEncrypted = false;
    std::string user, password;
};

class RecordingSmtpServer {
public:
    struct Options {
        std::optional<TestIdentity> identity;
        std::optional<TestIdentity> laterIdentity;   // shown instead from the second connection on
        bool offersStartTls = false, isTls = false;  // both need an identity
        bool offersAuthentication = false;           // PLAIN and XOAUTH2
        bool offersUtf8 = false;
        // Called on the connection's thread before an answer goes out.
        std::function<void(SmtpStage, const std::string& command)> onStage;
    };
    RecordingSmtpServer();
    explicit RecordingSmtpServer(Options options);
    ~RecordingSmtpServer();

    int port() const;
    void add(SmtpRule rule);
    void clearRules();
    std::vector<ReceivedMail> received() const;
    int timesReceived(std::string_view messageID) const;
    // Bare line ends, control characters in commands, data before the answer to STARTTLS, and their like.
    std::vector<std::string> violations() const;
    int connections() const;
    // Everything that clients said, without the messages.
    std::vector<std::string> commands() const;

private:
    struct State;
    class Session;
    std::shared_ptr<State> state_;
};

}  // namespace qs
