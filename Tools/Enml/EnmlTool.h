// The command line quillstead-enml: turns HTML into the content of a note.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace qs {

// Where the tool reads and writes, apart from the file that it is given.
struct EnmlToolStreams {
    std::istream& in;
    std::ostream &out, &errors;
};

// Answers the exit code: 0 when the HTML was converted, 1 when it could not be read, converted or written, 2 for a
// command line that makes no sense. `resources` is the folder of the definitions unless the command line names one.
int runEnmlTool(const std::vector<std::string>& arguments, std::filesystem::path resources, EnmlToolStreams streams);

}  // namespace qs
