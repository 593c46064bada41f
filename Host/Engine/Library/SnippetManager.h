// The host's class "MFSnippetManager", over the library (interface: Mail/SnippetManager.h).
#pragma once

namespace qs {

class ClassRegistry;

void defineSnippetManager(ClassRegistry& registry);

}  // namespace qs
