// What quillstead-store tells about a store, as text. Nothing of it changes the file.
#pragma once

#include <ostream>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class PersistentStore;

// A line for each entity with the number of its records.
Result<void> writeSummary(PersistentStore& store, std::ostream& out);
// All records as JSON: an object with an array for each entity, one record a line. Dates are seconds since 1970; a link
// is the "_id" of the record that it leads to. With a name, that entity's alone.
Result<void> writeRecords(PersistentStore& store, const std::string& entityName, std::ostream& out);
// "No faults found." or a line for each; the number of them.
Result<std::size_t> writeFaults(PersistentStore& store, std::ostream& out);

}  // namespace qs
