// Finds plug-in bundles and opens them. A bundle that can't be loaded is reported in one sentence and left out; the
// program goes on as a plain mail program.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace qs {

class Bundle;

class BundleLoader {
public:
    BundleLoader();
    ~BundleLoader();  // unloads all
    // All folders *.mailbundle in these folders, in the order of their names; a name found before is left out. Answers
    // one sentence for each bundle that could not be loaded.
    std::vector<std::string> loadAll(const std::vector<std::filesystem::path>& folders);
    void unloadAll();
    const std::vector<std::shared_ptr<Bundle>>& bundles() const;
    // The picture of that name ("TB_SendLaterTemplate") from a bundle's resources as SVG text; empty for none.
    std::string image(std::string_view name) const;

private:
    struct Held;
    std::unique_ptr<Held> held_;
};

}  // namespace qs
