// Included before all else by the fuzz build: std::source_location for a clang that the standard library has none for.
#pragma once

#include <source_location>

#ifndef __cpp_lib_source_location
namespace std {

struct source_location {
    static constexpr source_location current(const char* file = __builtin_FILE(),
                                             const char* function = __builtin_FUNCTION(),
                                             unsigned line = __builtin_LINE()) noexcept {
        source_location here;
        here.file_ = file;
        here.function_ = function;
        here.line_ = line;
        return here;
    }
    constexpr const char* file_name() const noexcept { return file_; }
    constexpr const char* function_name() const noexcept { return function_; }
    constexpr unsigned line() const noexcept { return line_; }

private:
    const char* file_ = "";
    const char* function_ = "";
    unsigned line_ = 0;
};

}  // namespace std
#endif
