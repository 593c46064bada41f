#include "Peers.h"

#include <cstdlib>
#include <fstream>

namespace qs::peers {

namespace {

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

std::string notmuch(const std::filesystem::path& scratch) {
    return "NOTMUCH_CONFIG=" + (scratch / "notmuch-config").string() + " notmuch ";
}

}  // namespace

bool isInstalled(const std::string& program) { return run("command -v " + program); }

bool muIndexes(const std::filesystem::path& maildir, const std::filesystem::path& scratch) {
    const auto home = scratch / "mu";
    std::filesystem::remove_all(home);
    std::filesystem::create_directories(home);
    return run("mu init --muhome=" + home.string() + " --maildir=" + maildir.string()) &&
           run("mu index --muhome=" + home.string());
}

bool notmuchIndexes(const std::filesystem::path& maildir, const std::filesystem::path& scratch) {
    const auto home = scratch / "notmuch";
    std::filesystem::remove_all(home);
    std::filesystem::create_directories(home);
    std::ofstream(scratch / "notmuch-config")
        << "[database]\npath=" << home.string() << "\nmail_root=" << maildir.string()
        << "\n[user]\nname=Ada\nprimary_email=ada@example.org\n[new]\ntags=inbox\n[maildir]\nsynchronize_flags=false\n";
    return run(notmuch(scratch) + "new --quiet");
}

bool notmuchFinds(const std::filesystem::path& scratch, const std::string& query) {
    return run(notmuch(scratch) + "search --output=messages --sort=newest-first --limit=50 '" + query + "'");
}

bool notmuchStarts(const std::filesystem::path& scratch) { return run(notmuch(scratch) + "count id:none"); }

}  // namespace qs::peers
