#include "Enml/EnmlTool.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/Result.h"
#include "HTML2EM/ENHTMLtoENMLConverter.h"
#include "HTML2EM/ENXMLDTD.h"

namespace qs {

namespace {

constexpr std::string_view kHelp =
    "Usage: quillstead-enml [OPTIONS] [FILE.html]\n\n"
    "Turns HTML into ENML, the form in which the note service keeps notes, and writes it to standard output.\n"
    "Without a FILE, or with \"-\", the HTML is read from standard input. It must be UTF-8.\n\n"
    "  --resources DIR   the folder with the definition of ENML, if it is not beside the program\n"
    "  --verbose         tell on standard error what was left out, and why\n"
    "  --help            this text\n\n"
    "Exit codes: 0 converted; 1 not read, converted or written; 2 a wrong command line.\n";

struct Options {
    std::string file;  // empty for standard input
    std::filesystem::path resources;
    bool isVerbose = false, isHelpWanted = false;
};

Result<Options> parse(const std::vector<std::string>& arguments) {
    const auto misunderstood = [](std::string_view format, std::string_view argument) {
        return failure("EnmlTool", 2, stringWithFormat(format, {argument}));
    };
    Options options;
    bool hasFile = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--help" || argument == "-h") {
            options.isHelpWanted = true;
        } else if (argument == "--verbose") {
            options.isVerbose = true;
        } else if (argument == "--resources") {
            if (i + 1 == arguments.size()) return misunderstood("The option %@ needs a folder.", argument);
            options.resources = arguments[++i];
        } else if (argument.starts_with("-") && argument != "-") {
            return misunderstood("There is no option '%@'.", argument);
        } else if (hasFile) {
            return misunderstood("One file at a time, please; '%@' is a second one.", argument);
        } else {
            hasFile = true;
            options.file = argument == "-" ? "" : argument;
        }
    }
    return options;
}

// Writes the note as it grows, so that its size does not matter.
class Output final : public ENHTMLtoENMLConverterDelegate {
public:
    explicit Output(std::ostream& out) : out_(out) {}
    void htmlConverterDidGenerateString(ENHTMLtoENMLConverter& converter, std::string_view text) override {
        isEmpty_ = false;
        if (!out_.write(text.data(), static_cast<std::streamsize>(text.size()))) converter.cancel();
    }
    void htmlConverterDidFailWithError(ENHTMLtoENMLConverter&, const Error& error) override {
        failure_ = error.description;
    }
    bool isEmpty() const { return isEmpty_; }
    const std::string& failure() const { return failure_; }

private:
    std::ostream& out_;
    bool isEmpty_ = true;
    std::string failure_;
};

// False when the source could not be read to its end.
bool feed(std::istream& source, ENHTMLtoENMLConverter& converter, const Output& output) {
    std::string chunk(64 << 10, '\0');
    while (source && output.failure().empty()) {
        source.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        converter.writeData({chunk.data(), static_cast<std::size_t>(source.gcount())});
    }
    return !source.bad();
}

int convert(std::istream& source, std::string_view name, EnmlToolStreams streams) {
    const auto complain = [&](std::string_view format, std::string_view detail) {
        streams.errors << "quillstead-enml: " << stringWithFormat(format, {detail}) << '\n';
        return 1;
    };
    Output output(streams.out);
    ENHTMLtoENMLConverter converter;
    converter.setDelegate(&output);
    if (!feed(source, converter, output)) return complain("cannot read %@", name);
    converter.finish();
    if (!streams.out.flush()) return complain("cannot write the note%@", "");
    if (!output.failure().empty()) return complain("the note is cut off: %@", output.failure());
    if (output.isEmpty()) streams.errors << "quillstead-enml: the HTML has no body, so there is no note\n";
    return 0;
}

int convertFile(const std::string& path, EnmlToolStreams streams) {
    std::ifstream file(path, std::ios::binary);
    std::error_code error;
    if (file && !std::filesystem::is_directory(path, error)) return convert(file, path, streams);
    const char* why = file ? "it is a folder" : std::strerror(errno);  // NOLINT(concurrency-mt-unsafe): one thread
    streams.errors << "quillstead-enml: cannot read " << path << ": " << why << '\n';
    return 1;
}

}  // namespace

int runEnmlTool(const std::vector<std::string>& arguments, std::filesystem::path resources, EnmlToolStreams streams) {
    const auto options = parse(arguments);
    if (!options) {
        streams.errors << "quillstead-enml: " << options.error().description << "\n\n" << kHelp;
        return 2;
    }
    if (options->isHelpWanted) {
        streams.out << kHelp;
        return 0;
    }
    if (options->isVerbose) DDLog::addLogger(DDTTYLogger::sharedInstance());
    if (!options->resources.empty()) resources = options->resources;
    ENXMLDTD::setResourceFolder(resources);
    if (!ENXMLDTD::enml2dtd()) {
        streams.errors << "quillstead-enml: the definition of ENML is not in " << resources.string()
                       << "; name its folder with --resources\n";
        return 1;
    }
    return options->file.empty() ? convert(streams.in, "standard input", streams) : convertFile(options->file, streams);
}

}  // namespace qs
