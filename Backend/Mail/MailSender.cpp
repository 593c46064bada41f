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
        const SmtpOutcome outcome = sendOverSmtp(server_, {letter.from, {letter.to}, letter.content}, watch);
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
    FolderSender(std::filesystem::path folder, FileSystem& files) : folder_(std::move(folder)), files_(files) {}

    Result<void> prepare() {
        for (const char* part : {"cur", "new", "tmp"})
            if (auto made = files_.makeFolder(folder_ / part); !made) return failed(made);
        return {};
    }

    SendOutcome send(const OutgoingLetter& letter) override {
        const std::string name = hexadecimal(randomDataWithBytes(16)) + ".quillstead-backend";
        auto done = files_.writeNew(folder_ / "tmp" / name, letter.content);
        if (done) done = files_.rename(folder_ / "tmp" / name, folder_ / "new" / name);
        if (done) done = files_.syncFolder(folder_ / "new");
        if (done) return SendOutcome::Sent;
        logError("A letter can't be written: " + done.error().description);
        return SendOutcome::Later;
    }

private:
    const std::filesystem::path folder_;
    FileSystem& files_;
};

}  // namespace

Result<std::unique_ptr<MailSender>> MailSender::make(const BackendConfiguration& configuration, FileSystem& files) {
    if (!configuration.smtp.host.empty()) return std::make_unique<SmtpSender>(configuration.smtp);
    auto sender = std::make_unique<FolderSender>(configuration.mailFolder, files);
    if (auto prepared = sender->prepare(); !prepared) return failed(prepared);
    return sender;
}

}  // namespace qs
