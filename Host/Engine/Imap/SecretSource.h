// Where the connections of an account get what they sign in with.
#pragma once

#include <functional>

#include "Foundation/Result.h"
#include "Imap/ImapError.h"
#include "Imap/ImapServer.h"

namespace qs {

// `refused` is what the server has not taken just now, null at first: an access token is not given out again then. May
// block.
using SecretSource = std::function<Result<ImapSecret>(const ImapSecret* refused)>;

// `open` signs a new connection in. A server may refuse an access token before its time, and another one may be had.
inline Result<void> signIn(const SecretSource& secrets, const std::function<Result<void>(const ImapSecret&)>& open) {
    const auto secret = secrets(nullptr);
    if (!secret) return failed(secret);
    auto opened = open(*secret);
    if (opened || imapFailure(opened.error()) != ImapFailure::SignInRefused) return opened;
    if (secret->kind != ImapSecret::Kind::AccessToken) return opened;
    const auto other = secrets(&*secret);
    if (!other) return failed(other);
    return other->text == secret->text ? opened : open(*other);
}

}  // namespace qs
