#include "Render/RenderTool.h"

#include <istream>
#include <iterator>
#include <ostream>

#include "Foundation/FileSystem.h"
#include "Foundation/Json.h"
#include "GRMustacheError.h"
#include "GRMustacheTemplate.h"
#include "GRMustacheTemplateRepository.h"

namespace qs {

namespace {

constexpr std::string_view kStandardInput = "standard input";

constexpr std::string_view kHelp =
    "Usage: quillstead-render [--text] TEMPLATE [DATA.json]\n\n"
    "Renders a template with the data and prints the text. \"-\" stands for standard input, for one of the two.\n"
    "Partials are files beside the template, with the same ending; those of a template from standard input\n"
    "are *.mustache in this folder.\n\n"
    "  --text   the template is plain text: escape nothing for HTML\n"
    "  --help   this text\n\n"
    "Exit codes: 0 rendered; 1 not read, rendered or written; 2 a wrong command line.\n";

struct Options {
    bool help = false, text = false;
    std::string templateName, dataName;
};

Result<Options> parsed(const std::vector<std::string>& arguments) {
    Options options;
    std::vector<std::string> names;
    bool namesOnly = false;
    for (const std::string& argument : arguments) {
        if (namesOnly || argument == "-" || !argument.starts_with('-'))
            names.push_back(argument);
        else if (argument == "--")
            namesOnly = true;
        else if (argument == "--help" || argument == "-h")
            options.help = true;
        else if (argument == "--text")
            options.text = true;
        else
            return failure("RenderTool", 1, "There is no option '" + argument + "'.");
    }
    if (options.help) return options;
    if (names.empty()) return failure("RenderTool", 1, "Which template?");
    if (names.size() > 2) return failure("RenderTool", 1, "One template and one file of data, please.");
    options.templateName = names[0];
    if (names.size() == 2) options.dataName = names[1];
    if (options.templateName == "-" && options.dataName == "-")
        return failure("RenderTool", 1, "Standard input can't be both template and data.");
    return options;
}

// One run, with the streams that it talks to.
class RenderTool {
public:
    RenderTool(const Options& options, RenderToolStreams streams) : options_(options), streams_(streams) {}

    int run() {
        Value data = Dictionary{};
        if (!options_.dataName.empty()) {
            const auto json = contentOf(options_.dataName);
            if (!json) return complain(shown(options_.dataName), json.error());
            auto value = parseJson(*json);
            if (!value) return complainAt(shown(options_.dataName), value.error(), kJsonLineKey, kJsonColumnKey);
            data = std::move(*value);
        }
        const auto made = compiled();
        if (!made) return complainOfTemplate(made.error());
        const auto text = (*made)->renderObject(GRMustacheValue::borrowing(data));
        if (!text) return complainOfTemplate(text.error());
        streams_.out << *text << std::flush;
        if (streams_.out) return 0;
        streams_.errors << "quillstead-render: The text can't be written.\n";
        return 1;
    }

private:
    static std::string shown(const std::string& name) { return name == "-" ? std::string(kStandardInput) : name; }

    Result<std::string> contentOf(const std::string& name) {
        if (name != "-") return FileSystem::real().read(name);
        std::string content{std::istreambuf_iterator<char>(streams_.in), std::istreambuf_iterator<char>()};
        if (streams_.in.bad()) return failure("RenderTool", 2, "It can't be read.");
        return content;
    }

    Result<GRMustacheTemplate::Ref> compiled() {
        const std::filesystem::path file = options_.templateName;
        const bool isInput = options_.templateName == "-";
        std::string ending(isInput ? GRMustacheTemplateRepository::kExtension : file.extension().string());
        if (ending.starts_with('.')) ending.erase(0, 1);
        const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDirectory(
            isInput ? std::filesystem::path() : file.parent_path(), ending);
        if (options_.text) repository->configuration().setContentType(GRMustacheContentType::Text);
        if (!isInput) return repository->templateNamed(file.stem().string());
        const auto text = contentOf(options_.templateName);
        if (!text) return failed(text);
        return repository->templateFromString(*text);
    }

    int complainOfTemplate(const Error& error) {
        const auto id = error.userInfo.find(GRMustacheErrorTemplateIDKey);
        const bool hasPlace = error.userInfo.contains(GRMustacheErrorLineKey);
        // The template itself is missing, not one of its partials.
        if (!hasPlace && error.code == GRMustacheErrorCodeTemplateNotFound)
            return complain(options_.templateName, {{}, 0, "There is no such file.", {}});
        return complainAt(id == error.userInfo.end() ? shown(options_.templateName) : id->second.string(), error,
                          GRMustacheErrorLineKey, GRMustacheErrorColumnKey);
    }

    int complainAt(const std::string& where, const Error& error, std::string_view lineKey, std::string_view columnKey) {
        const auto line = error.userInfo.find(lineKey), column = error.userInfo.find(columnKey);
        std::string place = where;
        if (line != error.userInfo.end() && column != error.userInfo.end())
            place += ":" + line->second.stringValue() + ":" + column->second.stringValue();
        return complain(place, error);
    }

    int complain(const std::string& place, const Error& error) {
        std::string what = error.description;
        for (const auto key : {GRMustacheErrorMessageKey, kJsonFaultKey})  // without the place
            if (const auto found = error.userInfo.find(key); found != error.userInfo.end()) what = found->second.string();
        streams_.errors << place << ": " << what << "\n";
        return 1;
    }

    const Options& options_;
    RenderToolStreams streams_;
};

}  // namespace

int runRenderTool(const std::vector<std::string>& arguments, RenderToolStreams streams) {
    const auto options = parsed(arguments);
    if (!options) {
        streams.errors << "quillstead-render: " << options.error().description << "\n\n" << kHelp;
        return 2;
    }
    if (options->help) {
        streams.out << kHelp;
        return 0;
    }
    return RenderTool(*options, streams).run();
}

}  // namespace qs
