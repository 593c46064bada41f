// The account's part of the interface that the plug-in speaks: sign-up, profile, facts about the machine, pictures.
// Bodies are forms, answers JSON.
#pragma once

#include "Service.h"

namespace qs {

HttpResponse addUser(Service& service, const Call& call);
HttpResponse showProfile(Service& service, const Call& call);
HttpResponse takeProperties(Service& service, const Call& call);
HttpResponse takeDevice(Service& service, const Call& call);

// "/pictures/<MD5 of the address>.jpg", for everybody who knows the address, and "/avatars/<key>", which only the
// profile tells.
HttpResponse showPicture(Service& service, const Call& call);

}  // namespace qs
