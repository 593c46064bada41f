// What can fail returns a Result: the value, or an Error that tells domain, code and a sentence for people. Whoever
// handles an error logs it, once; whoever passes it on adds only context.
//
//     auto text = files.read(path);
//     if (!text) return failed(text);
#pragma once

#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>

#include "Foundation/Value.h"

namespace qs {

struct Error {
    std::string domain;       // such as "com.tallowbay.Quillstead.error"
    int code = 0;             // unique within the domain
    std::string description;  // one sentence for a person, localised
    Dictionary userInfo;      // further facts, by key
};

template <class T>
using Result = tl::expected<T, Error>;

// Passes the error of another result on.
template <class R>
[[nodiscard]] tl::unexpected<Error> failed(const R& result) {
    return tl::unexpected<Error>(result.error());
}
[[nodiscard]] inline tl::unexpected<Error> failure(Error error) { return tl::unexpected<Error>(std::move(error)); }
[[nodiscard]] inline tl::unexpected<Error> failure(std::string domain, int code, std::string description) {
    return tl::unexpected<Error>(Error{std::move(domain), code, std::move(description), {}});
}

}  // namespace qs
