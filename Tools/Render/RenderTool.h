// The command line quillstead-render: turns a template and data into text.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace qs {

struct RenderToolStreams {
    std::istream& in;  // what "-" stands for
    std::ostream &out, &errors;
};

// Answers the exit code: 0 when the text was written, 1 when template or data could not be read or have a fault, or the
// text could not be written, 2 for a command line that makes no sense. Faults are told as FILE:LINE:COLUMN: TEXT.
int runRenderTool(const std::vector<std::string>& arguments, RenderToolStreams streams);

}  // namespace qs
