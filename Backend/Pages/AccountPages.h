// The pages where people look after their account: its name, and its end. Each asks for the password anew, so that
// there is no session to steal, and no other site can make a browser do it.
#pragma once

#include "Service.h"

namespace qs {

HttpServerResponse showNamePage(Service& service, const Call& call);
HttpServerResponse changeName(Service& service, const Call& call);
HttpServerResponse showDeletionPage(Service& service, const Call& call);
HttpServerResponse deleteAccount(Service& service, const Call& call);

}  // namespace qs
