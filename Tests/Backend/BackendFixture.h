// A real backend on a loopback port, with a virtual clock and a folder of its own, and a client to ask it with.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BackendServer.h"
#include "Foundation/Value.h"
#include "Support/TemporaryFolder.h"
#include "Support/VirtualClockTest.h"

namespace qs {

class TestConnection;

struct Question {
    std::string method = "GET", path;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    int port = 0;  // 0: the backend's
};

struct Reply {
    int status = 0;                              // 0: the server hung up without an answer
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
    std::string head;  // as it came
    Value json() const;
};

// A connection to that port of this machine.
std::unique_ptr<TestConnection> connectTo(int port);
// Blocking; what comes back on this connection, after the whole request was written to it.
Reply askOver(TestConnection& connection, const std::string& request);
std::string requestOf(const Question& question);

struct Person {
    std::string email, password = "correct horse";
};

class BackendFixture : public VirtualClockTest {
protected:
    BackendFixture();
    ~BackendFixture() override;

    void start();  // with configuration_
    void stop();   // gracefully
    void restart();

    // Time passes, and the hourly work is done once at its end.
    void jump(TimeInterval seconds);

    Reply ask(const Question& question);
    Reply get(const std::string& path) { return ask({.path = path}); }
    Reply post(const std::string& path, const std::string& form) {
        return ask({.method = "POST", .path = path, .body = form});
    }
    static std::vector<std::pair<std::string, std::string>> signedBy(const Person& person);
    Reply getAs(const Person& person, const std::string& path);
    Reply postAs(const Person& person, const std::string& path, const std::string& body);

    // Signed up and confirmed.
    void makeAccount(const Person& person);
    std::string signUp(const Person& person);  // the path that the letter's link leads to
    // The newest letters first to last; taken out of the folder.
    std::vector<std::string> takeLetters();
    static std::string linkIn(const std::string& letter, const std::string& path);  // without scheme and host
    static std::string tokenIn(const std::string& link);

    TemporaryFolder folder_;
    BackendConfiguration configuration_;
    std::unique_ptr<BackendServer> server_;
};

}  // namespace qs
