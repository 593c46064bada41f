// The compose window's patch class, DocumentEditor_Quillstead. From OS minor 11 on the host has two classes for what
// was one: the same patch class then becomes a category of both.
#pragma once

#include <string_view>

namespace qs {

class PatchClass;

// The methods that build a compose window's toolbar, and their exchange in the class that is asked for the toolbar.
void addComposeToolbarMethods(PatchClass& patch);
void exchangeComposeToolbarMethods(PatchClass& patch, std::string_view hostClass);

}  // namespace qs
