// Where libxml2 finds what documents refer to, in the whole process.
#pragma once

namespace qs {

// From now on a reference is looked up among the program's resources by the last part of its path. What is not there is
// refused when a document asks for it, as documents come from strangers, and when it lies on the network; a document
// that the program itself opens by its name goes to the loader that was there before. Once; from every thread.
void installEntityLoader();

}  // namespace qs
