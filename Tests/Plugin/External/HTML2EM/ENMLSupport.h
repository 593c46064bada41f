// What the tests of the converter share: the definitions' folder, and libxml2's own validator, which knows nothing of
// our writer.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "HTML2EM/ENXMLDTD.h"

namespace qs {

class ENMLTest : public testing::Test {
protected:
    ENMLTest() { ENXMLDTD::setResourceFolder(QS_ENML_RESOURCES); }
};

inline constexpr std::string_view kNoteHead = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n"
                                              "<!DOCTYPE en-note SYSTEM \"http://xml.evernote.com/pub/enml2.dtd\">\n";

// The note of the HTML from its root element on, checked for its head.
std::string noteOf(std::string_view html);
// What the root element holds.
std::string contentOf(std::string_view html);
// What is wrong with a note by its definition; empty when it is valid.
std::string faultsOf(const std::string& note);

}  // namespace qs
