// HTML on its way to the parser, chunk by chunk, cut anywhere: made to hold only what may stand in an XML document, and
// freed of marks that browsers pass over and libxml2 stumbles on: "<![if ...]>" and "<![endif]>" around parts of a
// page, which it takes for text, and "<wbr>", in which it puts all that follows. A byte order mark at the start goes
// too.
#pragma once

#include <string>
#include <string_view>

namespace qs {

class ENHTMLInput {
public:
    // What is ready by now. The view lives until the next call, and no longer than `chunk`.
    std::string_view add(std::string_view chunk);
    // What was held back, as a character or a mark that was cut off stays incomplete.
    std::string_view finish();

private:
    std::string_view dropByteOrderMark(std::string_view text);

    std::string waiting_, ready_;
    bool hasStarted_ = false;
};

}  // namespace qs
