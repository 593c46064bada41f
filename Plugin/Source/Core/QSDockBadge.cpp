#include "Core/QSDockBadge.h"

#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"

namespace qs {

namespace {

// An SVG within another: its own XML declaration must go.
std::string_view withoutXmlDeclaration(std::string_view svg) {
    auto start = svg.find("<svg");
    return start == std::string_view::npos ? svg : svg.substr(start);
}

}  // namespace

std::string iconWithBadge(std::string_view icon, const Bundle& bundle) {
    auto path = bundle.pathForResource("Quillstead", "svg");
    auto badge = path.empty() ? Result<std::string>() : FileSystem::real().read(path);
    if (!badge || badge->empty()) return std::string(icon);
    // The badge's corner is 266.24 from the left and 0 from the bottom; SVG counts from the top. A shadow's blur radius
    // is twice the deviation of a Gaussian blur.
    std::string svg = R"(<svg xmlns="http://www.w3.org/2000/svg" width="512" height="512" viewBox="0 0 512 512">)"
                      R"(<filter id="badge-shadow" x="-10%" y="-10%" width="120%" height="120%">)"
                      R"(<feDropShadow dx="0" dy="0" stdDeviation="2.5" flood-color="#000" flood-opacity="0.5"/>)"
                      R"(</filter><svg x="0" y="0" width="512" height="512">)";
    svg += withoutXmlDeclaration(icon);
    svg += R"svg(</svg><g filter="url(#badge-shadow)"><svg x="266.24" y="266.24" width="245.76" height="245.76">)svg";
    svg += withoutXmlDeclaration(*badge);
    svg += "</svg></g></svg>";
    return svg;
}

}  // namespace qs
