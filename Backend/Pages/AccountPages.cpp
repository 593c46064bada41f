#include "Pages/AccountPages.h"

#include "Accounts/SignIn.h"
#include "Foundation/Json.h"
#include "Metrics.h"
#include "Pages/Html.h"
#include "Store/SqlPool.h"
#include "Text/Ascii.h"
#include "Web/FormFields.h"

namespace qs {

namespace {

constexpr std::size_t kLongestName = 200;  // bytes

std::string credentialFields() {
    return inputField("Email address", "email", "email", "autocomplete=\"email\" required maxlength=\"254\"") +
           inputField("Password", "password", "password", "autocomplete=\"current-password\" required");
}

HttpServerResponse namePage(int status, std::string_view fault) {
    return htmlPage(status, "Your name",
                    faultNote(fault) + "<form method=\"post\" action=\"/account\">\n" + credentialFields() +
                        inputField("Name", "name", "text", "autocomplete=\"name\" maxlength=\"100\"") +
                        "<button type=\"submit\">Save</button>\n</form>\n"
                        "<p class=\"quiet\"><a href=\"/account/delete\">Delete the account</a></p>\n");
}

HttpServerResponse deletionPage(int status, std::string_view fault) {
    return htmlPage(
        status, "Delete your account",
        "<p>The account goes with everything that is kept of it. Mail that you tracked is followed no longer."
        "</p>\n" +
            faultNote(fault) + "<form method=\"post\" action=\"/account/delete\">\n" + credentialFields() +
            "<button type=\"submit\">Delete for good</button>\n</form>\n");
}

// What the interface tells the plug-in, told on a page.
HttpServerResponse refused(const HttpServerResponse& answer, HttpServerResponse (*page)(int, std::string_view)) {
    const Value told = parseJson(answer.body).value_or(Value());
    // A 401 would make the browser ask in a box of its own.
    return page(answer.status == 401 ? 422 : answer.status, told["error"].string());
}

}  // namespace

HttpServerResponse showNamePage(Service&, const Call&) { return namePage(200, {}); }

HttpServerResponse changeName(Service& service, const Call& call) {
    const FormFields fields = formFields(call.http.body);
    const std::string name(trimmedAscii(field(fields, "name")));
    if (name.size() > kLongestName) return namePage(422, "The name is too long.");
    const auto account = service.signIn.account(call, field(fields, "email"), field(fields, "password"));
    if (!account) return refused(account.error(), namePage);
    service.database.transaction([&](SqlConnection& database) { setName(database, account->id, name); });
    return messagePage(200, "Saved", "Your name is saved. Quillstead shows it when it looks the next time.");
}

HttpServerResponse showDeletionPage(Service&, const Call&) { return deletionPage(200, {}); }

HttpServerResponse deleteAccount(Service& service, const Call& call) {
    const FormFields fields = formFields(call.http.body);
    const auto account = service.signIn.account(call, field(fields, "email"), field(fields, "password"));
    if (!account) return refused(account.error(), deletionPage);
    service.database.transaction([&](SqlConnection& database) { removeAccount(database, account->id); });
    service.metrics.add("accounts_deleted_total");
    return messagePage(200, "Your account is gone", "Everything that was kept of it was deleted.");
}

}  // namespace qs
