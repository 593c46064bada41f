#include "HostImages.h"

namespace qs {
namespace {

// An envelope with a quill across it.
constexpr std::string_view kApplicationIcon = R"svg(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 512 512">
<defs><linearGradient id="sky" x1="0" y1="0" x2="0" y2="1">
<stop offset="0" stop-color="#5b8fc7"/><stop offset="1" stop-color="#2c5a8c"/></linearGradient></defs>
<rect x="16" y="16" width="480" height="480" rx="104" fill="url(#sky)"/>
<rect x="84" y="150" width="344" height="232" rx="20" fill="#fbfaf5"/>
<path d="M92 160 L256 288 L420 160" fill="none" stroke="#c9c3b2" stroke-width="14" stroke-linejoin="round"/>
<path d="M170 420 C200 320 260 200 410 92 C412 190 352 300 236 334 C214 352 196 384 186 424 Z" fill="#f0b84a"/>
<path d="M176 424 C214 322 286 220 382 128" fill="none" stroke="#9a6a14" stroke-width="8" stroke-linecap="round"/>
</svg>
)svg";

}  // namespace

std::string hostImage(std::string_view name) {
    return std::string(name == "ApplicationIcon" ? kApplicationIcon : std::string_view());
}

}  // namespace qs
