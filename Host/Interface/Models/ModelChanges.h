// Tells whoever draws the models that something changed. Models call noteModelChange() in their setters; all changes of
// one turn of the run loop lead to one redraw. Main thread only, like every model.
#pragma once

#include <functional>

namespace qs {

void noteModelChange();
// Called once on the main queue after one or more changes. One handler; an empty one removes it.
void setModelChangeHandler(std::function<void()> handler);

}  // namespace qs
