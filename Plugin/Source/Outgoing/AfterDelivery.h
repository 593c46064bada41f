// What is left to do when a message has been delivered: its pixel and its follow-up learn the Message-Id.
#pragma once

#include <memory>

namespace qs {

class MessageHeaders;

// From every thread; returns at once. `headers` are those that the message had in the outbox. Once more for the same
// message does no harm.
void finishDelivery(std::shared_ptr<MessageHeaders> headers);

}  // namespace qs
