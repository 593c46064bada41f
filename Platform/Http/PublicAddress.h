// Whether an internet address belongs to the public network. What is reserved, private, local or for tests does not:
// an address out of a mail must not reach into the person's own network.
// Sources: the special-purpose registries of RFC 6890 with its successors, and RFC 4291, 4193, 6052, 3056, 4380.
#pragma once

struct sockaddr;

namespace qs {

bool isPublicAddress(const sockaddr& address);
bool isLoopbackAddress(const sockaddr& address);

}  // namespace qs
