#include "Unsubscribe/QSUnsubscribeManager.h"

#include <map>
#include <vector>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/UserNotice.h"
#include "External/AFNetworking/AFHTTPSessionManager.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryAccount.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Mail/SenderName.h"
#include "Mail/UrlList.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Text/LinkFinder.h"
#include "Text/Url.h"
#include "Text/UrlEscaping.h"
#include "Unsubscribe/UnsubscribeByMail.h"
#include "Unsubscribe/UnsubscribeHeader.h"
#include "Unsubscribe/UnsubscribeLog.h"
#include "Unsubscribe/UnsubscribeRequest.h"
#include "Viewer/Banner.h"

namespace qs {

namespace {

constexpr std::string_view kHeader = "List-Unsubscribe", kPostHeader = "List-Unsubscribe-Post";
constexpr const char* kOneClick = "List-Unsubscribe=One-Click";
constexpr const char* kShowBanner = "QSShowUnsubscribeBanner";
constexpr const char* kList = "QSUnsubscribedList";

using CompletionHandler = QSUnsubscribeManager::CompletionHandler;

// Those who wait for an outcome, by message.
struct UnderWay {
    std::map<std::int64_t, std::vector<CompletionHandler>> waiting;
};

UnderWay& underWay() { return QSSession::current().part<UnderWay>(); }

void finish(std::int64_t message, bool unsubscribed) {
    if (!QSSession::currentIfLoaded()) return;
    const auto found = underWay().waiting.extract(message);
    if (found.empty()) return;
    for (const CompletionHandler& handler : found.mapped())
        if (handler) handler(unsubscribed);
}

UnsubscribeAddresses addressesOf(const MessageHeaders& headers) {
    return unsubscribeAddressesIn(osMinor() >= 12 ? urlListForKey(headers, kHeader)
                                                  : piecesAtCommas(headers.allHeadersForKey(kHeader)));
}

// One way after the other, until one of them succeeds.
class Unsubscription : public std::enable_shared_from_this<Unsubscription> {
public:
    Unsubscription(MessageRef message, UnsubscribeAddresses addresses)
        : message_(std::move(message)), addresses_(std::move(addresses)), sender_(senderDisplayName(*message_)) {}

    void begin(bool mayBeOneClick) {
        if (addresses_.web.empty()) return goOnByMail();
        const auto form = unsubscribeFormFrom(addresses_.web);
        place_ = form ? form->place : std::string();
        if (mayBeOneClick && form && form->isSecure) return askInOneStep();
        askWithForm();
    }

private:
    void askInOneStep() {
        post({.url = addresses_.web, .body = kOneClick}, [](Unsubscription& self, const Result<int>& status) {
            if (status && *status >= 200 && *status < 300) return self.end(true);
            self.askWithForm();
        });
    }

    void askWithForm() {
        const auto form = unsubscribeFormFrom(addresses_.web);
        UnsubscribeRequest request{.url = addresses_.web, .body = {}, .followsRedirects = true};
        if (form) request = {form->url, AFQueryStringFromParameters(form->parameters), true};
        post(std::move(request), [](Unsubscription& self, const Result<int>& status) {
            if (status && *status == 200) return self.end(true);
            if (!status)
                logError(stringWithFormat("Unsubscription error: %@", {status.error().description}));
            else if (*status < 200 || *status >= 300)
                logError(stringWithFormat("Unsubscription error: %@", {answered(*status)}));
            self.goOnByMail();
        });
    }

    void post(UnsubscribeRequest request, void (*then)(Unsubscription&, const Result<int>&)) {
        postUnsubscribeRequest(std::move(request), [self = shared_from_this(), then](const Result<int>& status) {
            if (!QSSession::currentIfLoaded()) return;
            const std::string answer = status ? answered(*status) : status.error().description;
            noteUnsubscribeStep({RunLoop::main().now(), self->sender_,
                                 stringWithFormat(QSLocalizedString(status ? "Sent a request to %@."
                                                                           : "Tried to send a request to %@."),
                                                  {self->place_}),
                                 answer});
            then(*self, status);
        });
    }

    static std::string answered(int status) {
        return stringWithFormat(QSLocalizedString("The server answered with status %d."), {status});
    }

    void goOnByMail() {
        if (addresses_.mail.empty()) return end(false);
        const auto account = message_->account();
        unsubscribeByMail(addresses_.mail, account ? deliveryAccount(*account) : nullptr, sender_,
                          [self = shared_from_this()](bool unsubscribed) { self->end(unsubscribed); });
    }

    void end(bool unsubscribed) { finish(message_->libraryID(), unsubscribed); }

    const MessageRef message_;
    const UnsubscribeAddresses addresses_;
    const std::string sender_;
    std::string place_;
};

}  // namespace

bool QSUnsubscribeManager::showUnsubscribeBannerForMessage(const BannerSubject& message) {
    const auto headers = message.originalMessage->headersIfAvailable();
    return message.junkStatus() == 0 && QSPluginDelegate::quillsteadDefaults().boolForKey(kShowBanner) && headers &&
           headers->hasHeaderForKey(kHeader);
}

std::optional<Date> QSUnsubscribeManager::unsubscribeDateForMessage(const BannerSubject& message) {
    const std::string id = message.originalMessage->messageID();
    if (id.empty()) return std::nullopt;
    return QSPluginDelegate::quillsteadDefaults().objectForKey(kList)[id].dateValue();
}

bool QSUnsubscribeManager::isUnsubscribingFromMessage(const BannerSubject& message) {
    return underWay().waiting.contains(message.originalMessage->libraryID());
}

void QSUnsubscribeManager::unsubscribeFromMessage(const BannerSubject& message,
                                                  CompletionHandler withCompletionHandler) {
    const MessageRef original = message.originalMessage;
    auto& waiting = underWay().waiting[original->libraryID()];
    waiting.push_back(std::move(withCompletionHandler));
    if (waiting.size() > 1) return;
    const auto headers = original->headersIfAvailable();
    auto addresses = headers ? addressesOf(*headers) : UnsubscribeAddresses();
    const bool oneClick = headers && declaresOneClick(headers->allHeadersForKey(kPostHeader));
    std::make_shared<Unsubscription>(original, std::move(addresses))->begin(oneClick);
}

void QSUnsubscribeManager::markMessageAsUnsubscribed(const BannerSubject& message) {
    const MessageRef& original = message.originalMessage;
    if (const std::string id = original->messageID(); !id.empty()) {
        UserDefaults& defaults = QSPluginDelegate::quillsteadDefaults();
        Dictionary list = defaults.objectForKey(kList).dictionary();
        list[id] = RunLoop::main().now();
        defaults.setObject(std::move(list), kList);
    }
    const std::string subtitle = stringWithFormat(
        QSLocalizedString("You have been successfully unsubscribed from '%@'."), {senderDisplayName(*original)});
    showUserNotification(QSLocalizedString("Successfully unsubscribed"), subtitle);
}

void QSUnsubscribeManager::_unsubscribeViaEmailURLString(std::string_view url,
                                                         std::shared_ptr<DeliveryAccount> withAccount,
                                                         CompletionHandler withCompletionHandler) {
    unsubscribeByMail(url, std::move(withAccount), {}, std::move(withCompletionHandler));
}

bool isValidURLString(std::string_view text) {
    if (text.empty()) return false;
    const bool hasScheme = text.starts_with("http://") || text.starts_with("https://");
    const std::string whole = (hasScheme ? "" : "http://") + std::string(text);
    const auto url = Url::parse(escapedForUrl(whole));
    return url && url->host() && !url->host()->empty() && containingURLString(whole) == whole;
}

}  // namespace qs
