#include "Pages/LetterPages.h"

#include "Accounts/AccountRules.h"
#include "Accounts/PasswordHasher.h"
#include "Accounts/RateLimiter.h"
#include "Configuration.h"
#include "Mail/LetterQueue.h"
#include "Mail/Letters.h"
#include "Metrics.h"
#include "Pages/Html.h"
#include "Store/AccountTables.h"
#include "Store/SqlPool.h"
#include "Text/Digests.h"
#include "Web/FormFields.h"
#include "Web/PeerAddress.h"

namespace qs {

namespace {

constexpr std::string_view kPasswordRule = "autocomplete=\"new-password\" required minlength=\"6\" maxlength=\"200\"";

HttpServerResponse deadLink() {
    return htmlPage(410, "This link leads nowhere any more",
                    "<p>It was used already, or is too old.</p>\n<p>You can ask for "
                    "<a href=\"/password/email\">a new password</a>, or sign up again.</p>\n");
}

HttpServerResponse tooMany() {
    return messagePage(429, "Too many tries", "There were too many tries. Please wait a little and try again.");
}

HttpServerResponse resetForm(int status, const std::string& token, std::string_view fault) {
    return htmlPage(status, "Choose a new password",
                    faultNote(fault) + "<form method=\"post\" action=\"/password/reset\">\n" +
                        hiddenField("token", token) +
                        inputField("New password (6 characters or more)", "password", "password", kPasswordRule) +
                        inputField("The same again", "confirmation", "password", kPasswordRule) +
                        "<button type=\"submit\">Set password</button>\n</form>\n");
}

HttpServerResponse requestForm(int status, std::string_view fault) {
    return htmlPage(
        status, "A new password",
        "<p>Tell us your email address, and we send you a letter with a link to choose a new password."
        "</p>\n" +
            faultNote(fault) + "<form method=\"post\" action=\"/password/email\">\n" +
            inputField("Email address", "email", "email", "autocomplete=\"email\" required maxlength=\"254\"") +
            "<button type=\"submit\">Send letter</button>\n</form>\n");
}

bool mayTryToken(Service& service, const Call& call) {
    return service.limits.tokensByPeer.take(limitKeyOf(call.peer), call.now);
}

}  // namespace

HttpServerResponse showConfirmation(Service& service, const Call& call) {
    if (!mayTryToken(service, call)) return tooMany();
    const std::string token = field(formFields(call.http.query), "token");
    const bool isGood = service.database.transaction(
        [&](SqlConnection& database) { return hasSignUp(database, token, call.now - kSignUpLife); });
    if (!isGood) return deadLink();
    return htmlPage(200, "Confirm your address",
                    "<p>One step more, and your account is ready.</p>\n<form method=\"post\" action=\"/confirm\">\n" +
                        hiddenField("token", token) + "<button type=\"submit\">Confirm</button>\n</form>\n");
}

HttpServerResponse confirm(Service& service, const Call& call) {
    if (!mayTryToken(service, call)) return tooMany();
    const std::string token = field(formFields(call.http.body), "token");
    const auto email = service.database.transaction(
        [&](SqlConnection& database) { return confirmSignUp(database, token, call.now - kSignUpLife, call.now); });
    if (!email) return deadLink();
    service.metrics.add("accounts_confirmed_total");
    return messagePage(200, "Your account is ready",
                       "The address " + *email + " is confirmed. You can sign in with it in Quillstead now.");
}

HttpServerResponse showResetRequest(Service&, const Call&) { return requestForm(200, {}); }

HttpServerResponse requestReset(Service& service, const Call& call) {
    const std::string email = normalisedAddress(field(formFields(call.http.body), "email"));
    if (const std::string fault = faultOfAddress(email); !fault.empty()) return requestForm(422, fault);
    if (!service.limits.resetsByPeer.take(limitKeyOf(call.peer), call.now)) return tooMany();
    if (service.limits.resetsByAddress.take(email, call.now)) {
        const std::string token = hexadecimal(randomDataWithBytes(32));
        service.database.transaction([&](SqlConnection& database) {
            const auto account = accountWithEmail(database, email);
            if (!account) return;
            addReset(database, token, account->id, call.now);
            addLetter(database, resetLetter(email, service.baseUrl + "/password/reset?token=" + token), call.now);
        });
        service.letters.wake();
    }
    return messagePage(
        200, "Please look into your mail",
        "If there is an account with this address, a letter is on its way to it. It leads to a page where "
        "you choose a new password, within an hour.");
}

HttpServerResponse showReset(Service& service, const Call& call) {
    if (!mayTryToken(service, call)) return tooMany();
    const std::string token = field(formFields(call.http.query), "token");
    const auto account = service.database.transaction(
        [&](SqlConnection& database) { return accountOfReset(database, token, call.now - kResetLife); });
    return account ? resetForm(200, token, {}) : deadLink();
}

HttpServerResponse resetPassword(Service& service, const Call& call) {
    if (!mayTryToken(service, call)) return tooMany();
    const FormFields fields = formFields(call.http.body);
    const std::string token = field(fields, "token");
    const std::string password = field(fields, "password");
    const auto isAlive = [&](SqlConnection& database) {
        return accountOfReset(database, token, call.now - kResetLife);
    };
    if (!service.database.transaction(isAlive)) return deadLink();
    if (const std::string fault = faultOfPassword(password); !fault.empty()) return resetForm(422, token, fault);
    if (field(fields, "confirmation") != password) return resetForm(422, token, "The two passwords are not the same.");
    const std::string hash = service.passwords.hash(password);
    const bool isSet = service.database.transaction([&](SqlConnection& database) {
        const auto account = isAlive(database);
        if (!account) return false;
        setPassword(database, *account, hash);
        removeResets(database, *account);
        return true;
    });
    if (!isSet) return deadLink();
    return messagePage(200, "Your password is set", "Please sign in with the new password in Quillstead.");
}

HttpServerResponse showFrontPage(Service&, const Call&) {
    return htmlPage(200, "A Quillstead backend",
                    "<p>This server keeps accounts for Quillstead and tells senders when their tracked mail was opened."
                    "</p>\n<ul>\n<li><a href=\"/password/email\">A new password</a></li>\n"
                    "<li><a href=\"/terms\">What is kept, and for how long</a></li>\n</ul>\n");
}

HttpServerResponse showTerms(Service& service, const Call&) {
    const BackendConfiguration& configuration = service.configuration;
    const std::string addresses = configuration.addressDetail == AddressDetail::Full ? "the network address"
                                  : configuration.addressDetail == AddressDetail::Shortened
                                      ? "the network address without its last part"
                                      : "no network address";
    const std::string days = std::to_string(configuration.keepDays);
    std::string body =
        "<p>Of an account: its email address, a digest of its password, its name and picture if they were given, and "
        "facts about the machine and the size of the mailboxes that Quillstead tells.</p>\n"
        "<p>Of a tracked message: its Message-Id, and for each time it was opened the moment, " +
        addresses + ", the place as far as the address tells it, and the kind of mail program. They go " + days +
        " days after the last change.</p>\n<p>What a message says, and whom it went to, never comes here.</p>\n";
    if (!configuration.operatorContact.empty())
        body += "<p class=\"quiet\">Who runs this server: " + escaped(configuration.operatorContact) + "</p>\n";
    return htmlPage(200, "What is kept, and for how long", body);
}

}  // namespace qs
