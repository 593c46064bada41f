// Other mail indexers over the same Maildir, as programs, with homes of their own beside the sample. One that is not
// installed (Tools/setup/packages-bench.txt) is said to be missing.
#pragma once

#include <filesystem>
#include <string>

namespace qs::peers {

bool isInstalled(const std::string& program);
// Reads the whole Maildir into an index of its own; false when the program failed. A former index is removed first.
bool muIndexes(const std::filesystem::path& maildir, const std::filesystem::path& scratch);
bool notmuchIndexes(const std::filesystem::path& maildir, const std::filesystem::path& scratch);
// The newest 50 that match, after notmuchIndexes. Most of the time of a short query is the program's start: an empty
// question ("notmuch count" of nothing) tells how much.
bool notmuchFinds(const std::filesystem::path& scratch, const std::string& query);
bool notmuchStarts(const std::filesystem::path& scratch);

}  // namespace qs::peers
