// The ground that a message's row has in lists. Any thread.
#pragma once

#include <optional>

#include "Mail/Message.h"
#include "Text/Color.h"

namespace qs {

namespace message {
// None: the usual ground. The colour is not kept with the message: it goes with this object, so it is to be set
// whenever a row is drawn.
inline const Operation<void(const std::optional<Color>& color)> setColor{"setColor:"};
inline const Operation<std::optional<Color>()> color{"color"};
}  // namespace message

}  // namespace qs
