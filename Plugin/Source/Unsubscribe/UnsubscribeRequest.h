// The request to a newsletter's own address of the web. Its rules are those for all addresses out of a mail: of the
// public network alone, without anything that tells who asks. Main thread.
#pragma once

#include <functional>
#include <string>

#include "Foundation/Result.h"

namespace qs {

struct UnsubscribeRequest {
    std::string url, body;  // the body is a form
    bool followsRedirects = false;
};

// The answer's status. It is always a POST: where a redirect asks for the same request elsewhere, it is made there, to
// an address that is no less safe; where it shows another page instead, that is the answer.
void postUnsubscribeRequest(UnsubscribeRequest request, std::function<void(Result<int> status)> completion);

}  // namespace qs
