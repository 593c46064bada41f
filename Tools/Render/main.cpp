// The command line quillstead-render; see RenderTool.h.
#include <exception>
#include <iostream>

#include "Render/RenderTool.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    try {
        return qs::runRenderTool({argv + 1, argv + argc}, {std::cin, std::cout, std::cerr});
    } catch (const std::exception& error) {
        std::cerr << "quillstead-render: " << error.what() << '\n';
        return 1;
    }
}
