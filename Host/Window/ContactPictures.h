// The host's own code of the classes in Viewer/ContactPictures.h: the pictures of the person's contacts, and round
// pictures with initials.
#pragma once

#include <string>
#include <string_view>

namespace qs {

void defineContactPictureClasses();

// The first characters of the first and the last word, or of the only one; empty when there is no letter or digit.
std::string initialsOf(std::string_view name);
// As an SVG in a data URL; empty for no initials.
std::string pictureWithInitials(std::string_view initials);

// As the host's own views show them: through those classes, so that a plug-in may bring pictures of its own. A data URL
// of an image; empty for none, or none yet.
std::string pictureOfPerson(const std::string& mailAddress);
std::string initialsOfPerson(const std::string& name);

}  // namespace qs
