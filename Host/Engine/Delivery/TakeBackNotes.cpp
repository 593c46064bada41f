#include "Delivery/TakeBackNotes.h"

#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Value.h"
#include "Maildir/MaildirName.h"

namespace qs {

namespace {

constexpr std::string_view kEnding = ".takeback";
constexpr const char* kTarget = "Target";
constexpr const char* kUniqueID = "UniqueID";
constexpr const char* kSubject = "Subject";

}  // namespace

std::filesystem::path TakeBackNotes::fileOf(std::string_view name) const {
    return folder_ / (std::string(name) + std::string(kEnding));
}

std::vector<TakeBackNote> TakeBackNotes::readAll() const {
    std::vector<TakeBackNote> notes;
    const auto listing = files_->list(folder_);
    if (!listing) return notes;  // no delivery was ever under way
    for (const auto& entry : *listing) {
        std::string name = entry.path.filename().string();
        if (entry.isFolder || !name.ends_with(kEnding)) continue;
        name.resize(name.size() - kEnding.size());
        const auto text = files_->read(entry.path);
        const auto parsed = text ? parsePropertyList(*text) : failed(text);
        if (!parsed)
            logWarning("The note of a message that was being taken back can't be read: " + parsed.error().description);
        const Value note = parsed.value_or(Value());
        notes.push_back({std::move(name), note[kTarget].stringValue(), note[kUniqueID].stringValue(),
                         note[kSubject].stringValue()});
    }
    return notes;
}

Result<void> TakeBackNotes::write(const TakeBackNote& note) const {
    if (!MaildirName::isUsable(note.name)) return failure("Delivery", 1, "Its file has a name that can't be noted.");
    if (auto made = files_->makeFolder(folder_); !made) return made;
    return files_->replace(
        fileOf(note.name),
        xmlPropertyList(Dictionary{{kTarget, note.target}, {kUniqueID, note.uniqueID}, {kSubject, note.subject}}));
}

Result<void> TakeBackNotes::remove(std::string_view name) const {
    auto removed = files_->remove(fileOf(name));
    if (!removed && removed.error().code == ENOENT) return {};
    return removed ? files_->syncFolder(folder_) : removed;
}

}  // namespace qs
