// quillstead-store: for people who look into an object store.
#include <iostream>
#include <string>
#include <vector>

#include "Core/Store/PersistentStore.h"
#include "StoreReport.h"

namespace {

constexpr const char* kHelp = R"(Usage: quillstead-store FILE [--dump [ENTITY] | --check]

Looks into an object store, such as ~/.local/share/quillstead/Documents/QuillsteadData.sqlite, and changes nothing.
The program that the store belongs to may run meanwhile.

  (nothing)         the kinds of records, and how many there are of each
  --dump [ENTITY]   all records, or those of one kind, as JSON; dates are seconds since 1970
  --check           look for damage in the whole file
  --help            this text

Exit status: 0 when all is well, 1 when the file can't be read or has faults, 2 when the call was wrong.
)";

int misuse(const std::string& sentence) {
    std::cerr << sentence << " See quillstead-store --help.\n";
    return 2;
}

int complain(const qs::Error& error) {
    std::cerr << error.description << '\n';
    return 1;
}

int run(const std::vector<std::string>& arguments) {
    const std::string command = arguments.size() > 1 ? arguments[1] : "";
    if (!command.empty() && command != "--dump" && command != "--check")
        return misuse("There is no option '" + command + "'.");
    if (arguments.size() > (command == "--dump" ? 3u : 2u)) return misuse("Too many arguments.");
    auto store = qs::PersistentStore::openReadOnly(arguments[0]);
    if (!store) return complain(store.error());
    if (command == "--check") {
        const auto faults = qs::writeFaults(**store, std::cout);
        if (!faults) return complain(faults.error());
        return *faults == 0 ? 0 : 1;
    }
    const auto written = command == "--dump"
                             ? qs::writeRecords(**store, arguments.size() > 2 ? arguments[2] : "", std::cout)
                             : qs::writeSummary(**store, std::cout);
    return written ? 0 : complain(written.error());
}

}  // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.empty()) return misuse("Which file?");
    if (arguments[0] == "--help" || arguments[0] == "-h") {
        std::cout << kHelp;
        return 0;
    }
    return run(arguments);
}
