// Feeds any bytes as "List-Unsubscribe" to what reads it. What is asked afterwards must be an address of the web
// without a name, or one that mail can go to, and nothing in it may break out of a command.
#include <algorithm>
#include <cstdlib>

#include "Mail/UrlList.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Url.h"
#include "Unsubscribe/UnsubscribeHeader.h"

namespace {

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

bool isPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 127; });
}

void check(const qs::UnsubscribeAddresses& found) {
    if (!found.mail.empty()) {
        demand(found.mail.starts_with("mailto:"));
        const auto mail = qs::unsubscribeMailFrom(found.mail);
        if (mail.to) demand(isPrintable(*mail.to) && mail.to->find_first_of("<>\"") == std::string::npos);
    }
    if (found.web.empty()) return;
    demand(found.web.starts_with("http"));
    const auto form = qs::unsubscribeFormFrom(found.web);
    if (!form) return;
    demand(isPrintable(form->wholeUrl) && isPrintable(form->place) && form->wholeUrl.starts_with(form->url));
    const auto url = qs::Url::parse(form->url), whole = qs::Url::parse(form->wholeUrl);
    demand(url && whole && !url->query() && !url->user() && url->host() == whole->host());
    demand(form->isSecure == (url->scheme() == "https"));
    demand(form->parameters.empty() || whole->query());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string field(reinterpret_cast<const char*>(bytes), size);
    const auto urls = qs::urlsInField(field);
    for (const std::string& url : urls)
        demand(!url.empty() && std::none_of(url.begin(), url.end(), qs::isAsciiControl));
    check(qs::unsubscribeAddressesIn(urls));
    check(qs::unsubscribeAddressesIn(qs::piecesAtCommas({field})));
    (void)qs::declaresOneClick({field});
    return 0;
}
