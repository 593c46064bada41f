// The account's part of the interface that the plug-in speaks: sign-up, profile, facts about the machine, pictures.
// Bodies are forms, answers JSON.
#pragma once

#include "Service.h"

namespace qs {

HttpServerResponse addUser(Service& service, const Call& call);
HttpServerResponse showProfile(Service& service, const Call& call);
HttpServerResponse takeProperties(Service& service, const Call& call);
HttpServerResponse takeDevice(Service& service, const Call& call);

// Not asked for by the plug-in: a picture of the account's owner as the body of a PUT, or a DELETE.
HttpServerResponse takePicture(Service& service, const Call& call);
// "/pictures/<MD5 of the address>.jpg", for everybody who knows the address, and "/avatars/<key>", which only the
// profile tells.
HttpServerResponse showPicture(Service& service, const Call& call);

}  // namespace qs
