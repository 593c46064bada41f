// Sends token requests so that bad luck is no refusal: one that fails because the machine is offline waits for the
// network and is sent again, and equal ones that are under way at the same time are one. A refresh token is good for
// one use at some services, so a second request with it would end the sign-in.
//
// Main thread; completions come there. What waits when this goes is dropped without its completions.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "External/AFNetworking/AFHTTPSessionManager.h"

namespace qs {

class TokenRequests {
public:
    TokenRequests();
    ~TokenRequests();

    // POSTs the form as `session` does. Cancelling the handle ends the wait of this caller alone.
    HttpTaskRef send(const AFHTTPSessionManager& session, std::string_view path, const Dictionary& form,
                     AFHTTPSessionManager::Success success, AFHTTPSessionManager::Failure failure);

private:
    class Request;
    std::map<std::string, std::shared_ptr<Request>> underWay_;
};

}  // namespace qs
