// The text of a piece of HTML as a person reads it.
#pragma once

#include <string>

#include "Html/HtmlTree.h"

namespace qs {

// Paragraphs stand apart by an empty line, quotations begin each line with "> " for each level, a link is followed by
// its address in angle brackets where the text is another, list items begin with "* " or their number.
std::string htmlPlainText(const HtmlTreeNode& top);

}  // namespace qs
