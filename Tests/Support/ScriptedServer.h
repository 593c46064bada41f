// A server that follows a script line by line, for what no good server ever does: hanging up in the middle of a word,
// lying, stalling. Each connection plays the next script; the last one is played again by all further connections.
//
//     ScriptedServer server;
//     server.script().say("220 hello").expect("EHLO").say("250-a").hangUp();
//     ...
//     EXPECT_EQ(server.complaints(), std::vector<std::string>{});
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace qs {

class ScriptedServer {
public:
    class Script {
    public:
        Script& say(std::string line);          // CR LF is added
        Script& sayBytes(std::string bytes);    // as they are
        Script& expect(std::string beginning);  // the next line must begin so; else the script ends with a complaint
        Script& expectUntil(std::string line);  // lines are read and dropped up to this one
        Script& hangUp();
        Script& stall();  // until the client goes

    private:
        friend class ScriptedServer;
        enum class Kind { Say, Expect, ExpectUntil, HangUp, Stall };
        struct Step {
            Kind kind;
            std::string text;
        };
        std::vector<Step> steps_;
    };

    ScriptedServer();
    ~ScriptedServer();
    int port() const;
    Script& script();  // a new one, behind the others; to be filled before the client comes
    std::vector<std::string> complaints() const;
    std::vector<std::string> heard() const;  // all lines, without their ends

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace qs
