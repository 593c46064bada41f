#include "Settings/SettingsFile.h"

#include <cerrno>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"

namespace qs {

namespace {

constexpr int kMostDamagedFiles = 1000;

Result<Dictionary> dictionaryFrom(std::string_view text) {
    const auto value = parsePropertyList(text);
    if (!value) return failed(value);
    if (value->type() != ValueType::Dictionary)
        return failure("Settings", 1, "The settings file holds something else than settings.");
    return value->dictionary();
}

}  // namespace

SettingsFile::SettingsFile(FileSystem& files, std::filesystem::path file) : files_(files), file_(std::move(file)) {}

std::filesystem::path SettingsFile::besides(std::string_view suffix) const {
    return file_.parent_path() / (file_.filename().string() + std::string(suffix));
}

std::optional<SettingsFile::Stamp> SettingsFile::stamp() {
    const auto info = files_.info(file_);
    if (!info) return {};
    return Stamp{info->modified.secondsSince1970, info->size};
}

Dictionary SettingsFile::open() {
    removeLeftovers();
    stamp_ = stamp();
    auto text = files_.read(file_);
    if (!text && text.error().code == ENOENT) return {};
    if (!text) return recover(text.error().description);
    auto values = dictionaryFrom(*text);
    if (!values) {
        damagedText_ = std::move(*text);
        return recover(values.error().description);
    }
    text_ = std::move(*text);
    return std::move(*values);
}

// A write that was cut off leaves its temporary file.
void SettingsFile::removeLeftovers() {
    const auto listed = files_.list(file_.parent_path());
    if (!listed) return;  // no folder yet
    const std::string start = "." + file_.filename().string() + ".";
    for (const FileInfo& each : *listed) {
        const std::string name = each.path.filename().string();
        if (name.starts_with(start) && name.ends_with(".tmp")) (void)files_.remove(each.path);
    }
}

Dictionary SettingsFile::recover(std::string_view problem) {
    logError(stringWithFormat("The settings in %@ are damaged: %@", {file_.string(), problem}));
    isDamaged_ = true;
    Dictionary values;
    bool isRestored = false;
    for (const std::string_view suffix : {".1", ".2"}) {
        const auto text = files_.read(besides(suffix));
        auto earlier = text ? dictionaryFrom(*text) : Result<Dictionary>(failed(text));
        if (!earlier) continue;
        values = std::move(*earlier);
        isRestored = true;
        break;
    }
    damageReport_ = stringWithFormat(
        isRestored ? "The settings file “%@” was damaged. The settings saved before it are in use again; please check "
                     "your latest changes. The damaged file was kept in the same folder."
                   : "The settings file “%@” was damaged, and no earlier one could be read. The settings start anew. "
                     "The damaged file was kept in the same folder.",
        {file_.filename().string()});
    if (const auto saved = save(values); !saved)
        logError(stringWithFormat("The restored settings cannot be written yet: %@", {saved.error().description}));
    return values;
}

Result<void> SettingsFile::keepAside() {
    for (int n = 1; n <= kMostDamagedFiles; ++n) {
        const auto aside = besides(".damaged-" + std::to_string(n));
        // A copy, so that the name itself is never missing; only what cannot be read is moved away.
        const auto kept = damagedText_ ? files_.writeNew(aside, *damagedText_) : files_.renameNew(file_, aside);
        if (!kept && kept.error().code == EEXIST) continue;
        if (!kept && kept.error().code != ENOENT) return kept;
        isDamaged_ = false;
        damagedText_.reset();
        return files_.syncFolder(file_.parent_path());
    }
    return failure("Settings", 2,
                   "There are too many damaged settings files. Please look through the settings folder.");
}

std::optional<Dictionary> SettingsFile::changedFromOutside() {
    const auto found = stamp();
    if (!found || found == stamp_) return {};
    auto text = files_.read(file_);
    if (!text) return {};
    stamp_ = found;
    if (*text == text_) return {};
    auto values = dictionaryFrom(*text);
    isDamaged_ = !values;
    if (!values) {
        logWarning(stringWithFormat("%@ was changed by another program and cannot be read. The settings stay as they "
                                    "were. %@",
                                    {file_.string(), values.error().description}));
        damagedText_ = std::move(*text);
        return {};
    }
    text_ = std::move(*text);
    return std::move(*values);
}

void SettingsFile::keepGeneration() {
    if (text_.empty()) return;
    const auto first = besides(".1");
    if (files_.exists(first)) (void)files_.rename(first, besides(".2"));  // without it there is one generation less
    if (const auto kept = files_.replace(first, text_); !kept)
        logWarning(stringWithFormat("The earlier settings cannot be kept: %@", {kept.error().description}));
}

Result<void> SettingsFile::save(const Dictionary& values) {
    std::string text = xmlPropertyList(values);
    if (!isDamaged_ && text == text_ && stamp_ && stamp() == stamp_) return {};
    if (const auto made = files_.makeFolder(file_.parent_path()); !made) return made;
    if (isDamaged_) {
        if (const auto kept = keepAside(); !kept) return kept;
    }
    keepGeneration();
    if (const auto written = files_.replace(file_, text); !written) return written;
    text_ = std::move(text);
    stamp_ = stamp();
    return {};
}

}  // namespace qs
