#include "Store/Times.h"

#include <array>
#include <ctime>

namespace qs {

std::string timestamp(Date date) {
    const std::time_t seconds = secondsOf(date);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return {text.data(), length};
}

}  // namespace qs
