// A host with one account, "ada", into which the plug-in is put and taken out again, so that the same work can be
// measured with it and without. One at a time in a process.
#pragma once

#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "Core/QSPluginDelegate.h"
#include "Foundation/Bundle.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Value.h"
#include "Settings/UserDefaults.h"
#include "Support/TemporaryHost.h"

extern "C" void MailBundleLoad(std::shared_ptr<qs::Bundle> bundle);
extern "C" void MailBundleUnload();

namespace qs {

class PlugInHost {
public:
    PlugInHost() : host({.accounts = {localAccount("ada", "Ada Lovelace", "ada@example.org")}}) {}
    ~PlugInHost() { takeOut(); }
    // Into a host of its own: one that had it before starts again.
    void putIn() {
        if (std::exchange(wasIn_, true)) {
            takeOut();
            host.restart();
        }
        auto bundle = Bundle::open(QS_PLUGIN_BUNDLE);
        if (!bundle) throw std::runtime_error(bundle.error().description);
        MailBundleLoad(*bundle);
        host.settle();
    }
    void takeOut() { MailBundleUnload(); }

    static std::string messageID(int number) { return std::to_string(number) + "@mill.example"; }
    // As many entries in the book of snoozed messages, for messages that nobody has. The plug-in is in.
    void snooze(int count, TimeInterval ahead, const std::string& kind) {
        Dictionary book;
        for (int i = 0; i < count; ++i)
            book[kind + messageID(i)] = Dictionary{{"QSSnoozeDate", host.loop().now() + ahead},
                                                   {"QSSnoozeOriginalMailboxIdentifier", "ada/INBOX"},
                                                   {"QSSnoozeMailboxIdentifier", "ada/Snooze"}};
        QSPluginDelegate::quillsteadDefaults().setObject(Value(std::move(book)), "QSSnoozeMessages");
        putIn();
    }
    // Files in the inbox, past the program, which does not know of them yet. `folder`: "cur" or "new".
    void writeMail(int from, int count, const char* folder, const std::string& extraHeaders = {}) {
        const auto inbox = host.dataFolder() / "Mail/ada";
        for (const char* part : {"cur", "new", "tmp"})
            std::filesystem::create_directories(inbox / part);
        for (int i = from; i < from + count; ++i)
            std::ofstream(inbox / folder / ("15" + std::to_string(10'000'000 + i) + ".M1P1Q1R1.box:2,S"))
                << "From: The mill <mill@example.org>\r\nTo: Ada <ada@example.org>\r\nSubject: Paper " << i
                << "\r\nDate: Mon, 13 Nov 2023 10:00:00 +0000\r\n"
                << extraHeaders << "Message-Id: <" << messageID(i) << ">\r\n\r\nIt is ready.\r\n";
    }

    TemporaryHost host;

private:
    bool wasIn_ = false;
};

inline double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace qs
