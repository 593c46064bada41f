// What the journeys of compose windows share: a disk that can be full, answers to alerts, and a stand-in for a plug-in
// that lays itself around the host's own operations.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Compose/ComposeController.h"
#include "ComposeWindow.h"
#include "Foundation/FileSystem.h"
#include "Support/AlertAnswers.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryHost.h"

namespace qs {

// The real disk, until a test makes it fail. Steps are the calls that change something.
class FailingDisk : public FileSystem {
public:
    // Every write below a path that holds `part` fails as on a full disk; empty: none.
    void fillUp(std::string part);
    // Nothing can be removed there.
    void keepAll(std::string part);
    // From now on the step of that number fails; `lasting`: it and all later ones, as when the power went. 0: none.
    void failAt(int step, bool lasting);
    int steps() const { return steps_; }

    Result<std::string> read(const std::filesystem::path& f) override { return real().read(f); }
    Result<std::string> readStart(const std::filesystem::path& f, std::size_t n) override {
        return real().readStart(f, n);
    }
    Result<void> forEachName(const std::filesystem::path& f,
                             const std::function<void(const std::string&, bool)>& visit) override {
        return real().forEachName(f, visit);
    }
    Result<std::vector<FileInfo>> list(const std::filesystem::path& f) override { return real().list(f); }
    Result<FileInfo> info(const std::filesystem::path& f) override { return real().info(f); }
    Result<void> writeNew(const std::filesystem::path& f, std::string_view c) override;
    Result<void> append(const std::filesystem::path& f, std::string_view c) override;
    Result<void> rename(const std::filesystem::path& a, const std::filesystem::path& b) override;
    Result<void> renameNew(const std::filesystem::path& a, const std::filesystem::path& b) override;
    Result<void> remove(const std::filesystem::path& f) override;
    Result<void> syncFolder(const std::filesystem::path& f) override;
    Result<void> makeFolder(const std::filesystem::path& f) override;

private:
    bool fails(const std::filesystem::path& file, const std::string& part);

    std::mutex lock_;
    std::string full_, kept_;
    std::atomic<int> steps_ = 0;
    int failingStep_ = 0;
    bool lasting_ = false;
};

class ComposeJourney : public testing::Test {
protected:
    void start(TemporaryHostOptions options = {});
    std::shared_ptr<ComposeWindow> open(ComposeRequest request);
    std::shared_ptr<ComposeWindow> openMessage(ComposeMode mode, MessageRef message);
    std::shared_ptr<ComposeWindow> openDraft(int index = 0, MailboxKind kind = MailboxKind::Drafts);
    // Types a new text, as the page does.
    void type(ComposeWindow& window, std::string_view text);
    std::vector<MessageSummary> drafts() { return host->messagesOf("ada", MailboxKind::Drafts); }
    std::vector<MessageSummary> outbox() { return host->messagesOf("ada", MailboxKind::Outbox); }
    std::vector<MessageSummary> sent() { return host->messagesOf("ada", MailboxKind::Sent); }
    std::string contentOf(const MessageSummary& message);
    std::string textOf(const MessageSummary& message);
    std::string headerOf(const MessageSummary& message, std::string_view name);
    std::vector<std::filesystem::path> windowFolders() const;
    std::size_t openWindows() const;

    LogCapture log;
    FailingDisk disk;
    std::unique_ptr<TemporaryHost> host;
    std::unique_ptr<AlertAnswers> alerts;
};

}  // namespace qs
