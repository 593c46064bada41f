// The pages that letters lead to, and the one that asks for a letter: confirming an address, choosing a new password.
//
// Opening a link changes nothing, since mail scanners open links, too: the button on the page does.
#pragma once

#include "Service.h"

namespace qs {

HttpServerResponse showConfirmation(Service& service, const Call& call);
HttpServerResponse confirm(Service& service, const Call& call);

HttpServerResponse showResetRequest(Service& service, const Call& call);
// The same answer whether there is an account or not.
HttpServerResponse requestReset(Service& service, const Call& call);

HttpServerResponse showReset(Service& service, const Call& call);
HttpServerResponse resetPassword(Service& service, const Call& call);

HttpServerResponse showFrontPage(Service& service, const Call& call);
HttpServerResponse showTerms(Service& service, const Call& call);

}  // namespace qs
