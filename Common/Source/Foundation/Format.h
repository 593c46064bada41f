// Fills texts whose placeholders follow the given user texts and keys: %@ (any value), %ld, %lu, %d (integer),
// %f and %.Nf (real), %s, %%; %1$@ and its like pick an argument by number, so that translations may change the order.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "Foundation/Value.h"

namespace qs {

// A placeholder without an argument gives "(null)", surplus arguments are ignored.
std::string stringWithFormat(std::string_view format, std::initializer_list<Value> arguments);
std::string stringWithFormat(std::string_view format, std::span<const Value> arguments);

}  // namespace qs
