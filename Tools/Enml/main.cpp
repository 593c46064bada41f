// The command line quillstead-enml; see EnmlTool.h.
#include <exception>
#include <iostream>

#include "Enml/EnmlTool.h"
#include "Foundation/RunLoop.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    try {
        const auto loop = qs::RunLoop::make(qs::RunLoop::Clock::Real);  // whose clock ends endless conversions
        std::error_code error;
        const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
        const auto resources = program.parent_path().parent_path() / "Bundles/Quillstead.mailbundle/Resources";
        return qs::runEnmlTool({argv + 1, argv + argc}, resources, {std::cin, std::cout, std::cerr});
    } catch (const std::exception& error) {
        std::cerr << "quillstead-enml: " << error.what() << '\n';
        return 1;
    }
}
