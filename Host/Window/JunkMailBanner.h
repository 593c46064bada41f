// The banner classes, and the host's own banner: the one on top of a message that lies among the junk.
#pragma once

namespace qs {

void defineBannerClasses();

}  // namespace qs
