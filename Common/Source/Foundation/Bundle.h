// A folder that a program part is delivered in: Info.plist, a shared library perhaps, and Resources/.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

class Bundle {
public:
    // Reads Info.plist. Fails with a clear sentence when the folder, the file or its form is not right.
    static Result<std::shared_ptr<Bundle>> open(std::filesystem::path folder);
    ~Bundle();
    // The running program's own; null until the program has set it. From every thread.
    static std::shared_ptr<const Bundle> mainBundle();
    static void setMainBundle(std::shared_ptr<const Bundle> bundle);

    const std::filesystem::path& path() const { return path_; }
    const Dictionary& infoDictionary() const { return info_; }
    std::string identifier() const;  // CFBundleIdentifier
    // Resources/<name>.<type>; an empty path when there is no such file.
    std::filesystem::path pathForResource(std::string_view name, std::string_view type) const;
    // From Resources/<language>.lproj/<table or "Localizable">.strings (a property list), by the user's languages, then
    // English. Without an entry: `value`, or, if that is empty, the key itself. Safe from every thread; a table is read
    // once.
    std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                      std::string_view table = {}) const;

private:
    struct Tables;
    Bundle();
    std::vector<Value> textsNamed(std::string_view table) const;

    std::filesystem::path path_;
    Dictionary info_;
    std::unique_ptr<Tables> tables_;
};

}  // namespace qs
