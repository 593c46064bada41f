// Where libxml2 finds what documents refer to, in the whole process.
#pragma once

namespace qs {

// From now on libxml2 opens nothing but the program's resources, which it finds by the last part of a reference: no
// other file, and nothing on the network. Documents come from strangers, and libxml2 does not tell whether it is they
// who ask or the program; so whoever wants to read a file hands libxml2 its content. Once; from every thread.
void installEntityLoader();

}  // namespace qs
