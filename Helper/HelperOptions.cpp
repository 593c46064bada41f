#include "HelperOptions.h"

#include <charconv>

#include "Foundation/Format.h"

namespace qs {

namespace {

tl::unexpected<Error> misunderstood(std::string_view format, std::string_view argument) {
    return failure("HelperOptions", 1, stringWithFormat(format, {argument}));
}

}  // namespace

Result<HelperOptions> parseHelperOptions(const std::vector<std::string>& arguments) {
    HelperOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help") {
            options.help = true;
            continue;
        }
        if (name != "--data" && name != "--bundles" && name != "--for-process")
            return misunderstood("There is no option '%@'.", name);
        if (i + 1 == arguments.size() || arguments[i + 1].empty())
            return misunderstood("The option %@ needs a value.", name);
        const std::string& value = arguments[++i];
        if (name == "--data") options.data = value;
        if (name == "--bundles") options.bundles = value;
        if (name == "--for-process") {
            const auto end = value.data() + value.size();
            const auto [stop, error] = std::from_chars(value.data(), end, options.forProcess);
            if (error != std::errc() || stop != end || options.forProcess <= 0)
                return misunderstood("'%@' is no process number.", value);
        }
    }
    return options;
}

std::string helperHelp() {
    return "Usage: quillstead-helper [OPTIONS]\n\n"
           "Shows the plug-in's notifications on your desktop, answers its question for updates, and removes it when\n"
           "you uninstall it. The mail program starts it by itself.\n\n"
           "  --data DIR          your data folder; only inside of it anything is ever removed\n"
           "  --bundles DIR       the folder in it where the plug-in is installed\n"
           "  --for-process PID   end when this process ends\n"
           "  --help              this text\n";
}

}  // namespace qs
