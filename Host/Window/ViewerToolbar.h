// What the viewer answers as its toolbar's delegate.
#pragma once

namespace qs {

class Class;

void addViewerToolbar(Class& messageViewer);

}  // namespace qs
