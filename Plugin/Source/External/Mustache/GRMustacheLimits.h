// Bounds that turn a template or data which would exhaust stack, time or memory into an error.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qs {

struct GRMustacheLimits {
    static constexpr std::size_t openTags = 256;         // sections inside one another in one template
    static constexpr std::size_t expressionDepth = 128;  // scopes and filters inside one another in one tag
    static constexpr std::size_t partialsUnderWay = 64;  // templates that wait for a partial to be compiled
    static constexpr std::size_t renderingDepth = 512;   // sections and partials inside one another when rendering
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    static constexpr std::uint64_t steps = 20'000;
    static constexpr std::size_t output = 1 << 20;
#else
    static constexpr std::uint64_t steps =
        50'000'000;  // tags, sections and partials of one rendering, repeated ones too
    static constexpr std::size_t output = std::size_t{1} << 26;  // bytes
#endif
};

}  // namespace qs
