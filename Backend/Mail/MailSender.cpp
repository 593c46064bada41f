#include "Mail/MailSender.h"

#include "Configuration.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Smtp/SmtpTransport.h"
#include "Text/Digests.h"

namespace qs {

namespace {

class SmtpSender : public MailSender {
public:
    explicit SmtpSender(SubmissionServer server) : server_(std::move(server)) {}

    SendOutcome send(const OutgoingLetter& letter) override {
        const SmtpWatch watch{.beforeFinalDot = [](const auto&) { return true; }};
        const SmtpOutcome outcome = sendOverSmtp(server_, {letter.from, {letter.to}, SizedSource(letter.content)}, watch);
        switch (outcome.kind) {
        case SmtpOutcome::Kind::Accepted: return SendOutcome::Sent;
        case SmtpOutcome::Kind::Temporary: logWarning("A letter waits: " + outcome.answer); return SendOutcome::Later;
        case SmtpOutcome::Kind::Refused: logError("A letter was refused: " + outcome.answer); break;
        case SmtpOutcome::Kind::InDoubt: logWarning("A letter may have left or not: " + outcome.answer); break;
        }
        return SendOutcome::Refused;
    }

private:
    const SubmissionServer server_;
};

class FolderSender : public MailSender {
public:
    FolderSender(const BackendConfiguration& configuration, FileSystem& files)
        : folder_(configuration.mailFolder), folderOf_(configuration.mailFolders), files_(files) {}

    Result<void> prepare(const std::filesystem::path& folder) {
        for (const char* part : {"cur", "new", "tmp"})
            if (auto made = files_.makeFolder(folder / part); !made) return made;
        return {};
    }
    Result<void> prepare() { return prepare(folder_); }

    SendOutcome send(const OutgoingLetter& letter) override {
        const auto found = folderOf_.find(letter.to);
        const auto done = put(letter.content, found == folderOf_.end() ? folder_ : found->second);
        if (done) return SendOutcome::Sent;
        logError("A letter can't be written: " + done.error().description);
        return SendOutcome::Later;
    }

private:
    Result<void> put(const std::string& content, const std::filesystem::path& folder) {
        if (auto prepared = prepare(folder); !prepared) return prepared;
        const std::string name = hexadecimal(randomDataWithBytes(16)) + ".quillstead-backend";
        if (auto written = files_.writeNew(folder / "tmp" / name, content); !written) return written;
        if (auto moved = files_.rename(folder / "tmp" / name, folder / "new" / name); !moved) return moved;
        return files_.syncFolder(folder / "new");
    }

    const std::filesystem::path folder_;
    const std::map<std::string, std::filesystem::path> folderOf_;
    FileSystem& files_;
};

}  // namespace

Result<std::unique_ptr<MailSender>> MailSender::make(const BackendConfiguration& configuration, FileSystem& files) {
    if (!configuration.smtp.host.empty()) return std::make_unique<SmtpSender>(configuration.smtp);
    auto sender = std::make_unique<FolderSender>(configuration, files);
    if (auto prepared = sender->prepare(); !prepared) return failed(prepared);
    return sender;
}

}  // namespace qs
