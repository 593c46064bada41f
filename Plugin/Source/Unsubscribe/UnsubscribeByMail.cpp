#include "Unsubscribe/UnsubscribeByMail.h"

#include "Core/QSSession.h"
#include "External/SMTPMessage/SMTPMessage.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryAccount.h"
#include "Platform.h"
#include "Unsubscribe/UnsubscribeHeader.h"
#include "Unsubscribe/UnsubscribeLog.h"
#include "Unsubscribe/UnsubscribeMailbox.h"

namespace qs {

namespace {

constexpr int kFirstWithPortOfAccount = 11;

// The way to one server, as SMTPMessage wants it.
struct SenderData {
    std::string from, host, account, pwd, port;
    bool ssl = true, allowsOpenConnection = false;
    std::filesystem::path certificateAuthorities;
};

// Blocks while the password is looked for.
Result<SenderData> senderDataOf(const DeliveryAccount* account) {
    SenderData data;
    if (!account) return data;
    data.from = account->canonicalEmailAddress();
    data.host = account->hostname();
    data.account = account->username();
    data.ssl = account->usesSSL();
    data.allowsOpenConnection = account->allowsOpenConnection();
    data.certificateAuthorities = account->certificateAuthorities();
    const auto port = account->portNumberObject();
    if (osMinor() >= kFirstWithPortOfAccount)
        data.port = port ? std::to_string(*port) : std::string();
    else
        data.port = data.ssl ? "465" : "25";
    const auto password = account->password();
    if (!password) return failed(password);
    data.pwd = *password;
    return data;
}

bool isComplete(const SenderData& data) { return !data.host.empty() && !data.account.empty() && !data.pwd.empty(); }

SenderData senderDataOf(const UnsubscribeMailbox& mailbox) {
    return {.from = mailbox.address,
            .host = mailbox.host,
            .account = mailbox.login,
            .pwd = mailbox.password,
            .port = mailbox.port,
            .ssl = true,
            .allowsOpenConnection = false,
            .certificateAuthorities = mailbox.certificateAuthorities};
}

class MailUnsubscription : public std::enable_shared_from_this<MailUnsubscription> {
public:
    MailUnsubscription(UnsubscribeMail mail, std::string newsletter, std::function<void(bool)> completion)
        : mail_(std::move(mail)), newsletter_(std::move(newsletter)), completion_(std::move(completion)) {}

    void beginWith(std::shared_ptr<DeliveryAccount> account) {
        if (!mail_.to) return end(false, QSLocalizedString("The newsletter names no mail address."));
        QSSession::current().globalQueue().add([self = shared_from_this(), account = std::move(account)] {
            RunLoop::main().post([self, data = senderDataOf(account.get())] {
                if (QSSession::currentIfLoaded()) self->sendWith(data);
            });
        });
    }

private:
    void sendWith(const Result<SenderData>& known) {
        if (!known) {
            logError(stringWithFormat("SMTP error = %@", {known.error().description}));
            return end(false, known.error().description);
        }
        SenderData data = *known;
        if (!isComplete(data)) {
            logWarning("Incomplete STMP server information, so the backend's mailbox takes the account's place.");
            if (!unsubscribeMailbox().isConfigured()) {
                logError("SMTP error = There is no mailbox of the backend's.");
                return end(false, QSLocalizedString("There is no mail server to send it through."));
            }
            data = senderDataOf(unsubscribeMailbox());
        }
        send(data);
    }

    void send(const SenderData& data) {
        const auto message = std::make_shared<SMTPMessage>();
        message->to = *mail_.to;
        message->subject = mail_.subject;
        message->content = mail_.body;
        message->from = data.from;
        message->host = data.host;
        message->account = data.account;
        message->pwd = data.pwd;
        message->ssl = data.ssl;
        message->port = data.port;
        message->allowsOpenConnection = data.allowsOpenConnection;
        message->certificateAuthorities = data.certificateAuthorities;
        DDLog::maskSecret(data.pwd);
        message->send([](SMTPMessage&, double, double) {},
                      [self = shared_from_this()](SMTPMessage& sent) {
                          const std::string host = sent.host;
                          self->endLater(true, host);
                      },
                      [self = shared_from_this()](SMTPMessage&, const Error& error) {
                          logError(stringWithFormat("SMTP error = %@", {error.description}));
                          self->endLater(false, error.description);
                      });
    }

    // Called on the thread that sent.
    void endLater(bool sent, std::string text) {
        RunLoop::main().post([self = shared_from_this(), sent, text = std::move(text)] {
            if (!QSSession::currentIfLoaded()) return;
            self->end(sent, sent ? stringWithFormat(QSLocalizedString("The mail server %@ took it."), {text}) : text);
        });
    }

    void end(bool unsubscribed, const std::string& answer) {
        const std::string asked = stringWithFormat(QSLocalizedString("Mail to %@, with the subject “%@”."),
                                                   {mail_.to.value_or(""), mail_.subject.value_or("(null)")});
        noteUnsubscribeStep({RunLoop::main().now(), newsletter_, asked, answer});
        if (completion_) completion_(unsubscribed);
    }

    const UnsubscribeMail mail_;
    const std::string newsletter_;
    const std::function<void(bool)> completion_;
};

}  // namespace

void unsubscribeByMail(std::string_view mailto, std::shared_ptr<DeliveryAccount> account, std::string newsletter,
                       std::function<void(bool unsubscribed)> completion) {
    std::make_shared<MailUnsubscription>(unsubscribeMailFrom(mailto), std::move(newsletter), std::move(completion))
        ->beginWith(std::move(account));
}

}  // namespace qs
