// Leaving newsletters: whether a message offers it, the request to its sender over the web or by mail, and which
// messages were dealt with. Everything is called on the main thread, and so are the completion handlers, which may be
// empty; their argument tells whether the person is unsubscribed.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class BannerSubject;
class DeliveryAccount;

class QSUnsubscribeManager {
public:
    using CompletionHandler = std::function<void(bool unsubscribed)>;

    static bool showUnsubscribeBannerForMessage(const BannerSubject& message);
    // When it was; nothing for a message that was not dealt with.
    static std::optional<Date> unsubscribeDateForMessage(const BannerSubject& message);
    // Tries each way that the message tells of, the web's first. The caller marks the message. While one is under way
    // for the same message, another call waits for its outcome and sends nothing.
    static void unsubscribeFromMessage(const BannerSubject& message, CompletionHandler withCompletionHandler);
    static bool isUnsubscribingFromMessage(const BannerSubject& message);
    // Notes the date, and tells the person by way of the helper.
    static void markMessageAsUnsubscribed(const BannerSubject& message);
    // `url` is a "mailto:". The account may be null.
    static void _unsubscribeViaEmailURLString(std::string_view url, std::shared_ptr<DeliveryAccount> withAccount,
                                              CompletionHandler withCompletionHandler);
};

// Whether the text is an address of the web as a whole; one without "http://" or "https://" is taken for the first.
bool isValidURLString(std::string_view text);

}  // namespace qs
