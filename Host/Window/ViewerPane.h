// The viewer's pane with the message that is read, as plug-ins reach into it (Viewer/ViewingPane.h).
#pragma once

#include <memory>

#include "Viewer/ViewingPane.h"

namespace qs {

class ClassRegistry;
class MailLibrary;
class MainViewer;

// The library is looked at as long as the viewer is there.
std::shared_ptr<ViewingPaneViewController> makeViewingPane(std::weak_ptr<MainViewer> viewer, MailLibrary& library);
void defineViewingPaneClasses(ClassRegistry& registry);

}  // namespace qs
