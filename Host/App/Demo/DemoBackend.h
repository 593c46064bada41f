// The demo's own backend for the plug-in's account and read tracking: a process beside this one, on the loopback
// interface, that keeps everything in the demo's data folder and puts its letters into the demo's inboxes. Mira has an
// account there and is signed in from the start.
#pragma once

#include <filesystem>
#include <memory>

#include "Foundation/Result.h"

namespace qs {

class CompanionProcess;

class DemoBackend {
public:
    DemoBackend(std::filesystem::path dataFolder, std::filesystem::path program);
    ~DemoBackend();  // ends it

    // Nothing is started where the person has named a backend. Main thread.
    Result<void> start();
    // Waits until it answers, then tells the plug-in where it is; before the plug-in is loaded. Main thread.
    Result<void> introduce();

private:
    void signIn() const;

    const std::filesystem::path dataFolder_, program_;
    std::unique_ptr<CompanionProcess> process_;
};

}  // namespace qs
