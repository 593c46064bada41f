// The pages that letters lead to, and the one that asks for a letter: confirming an address, choosing a new password.
//
// Opening a link changes nothing, since mail scanners open links, too: the button on the page does.
#pragma once

#include "Service.h"

namespace qs {

HttpResponse showConfirmation(Service& service, const Call& call);
HttpResponse confirm(Service& service, const Call& call);

HttpResponse showResetRequest(Service& service, const Call& call);
// The same answer whether there is an account or not.
HttpResponse requestReset(Service& service, const Call& call);

HttpResponse showReset(Service& service, const Call& call);
HttpResponse resetPassword(Service& service, const Call& call);

HttpResponse showFrontPage(Service& service, const Call& call);
HttpResponse showTerms(Service& service, const Call& call);

}  // namespace qs
