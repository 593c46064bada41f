#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>

#include "Contacts/ContactBook.h"
#include "Contacts/VCard.h"
#include "Files/FolderWatch.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Text/Ascii.h"
#include "Text/CaseFolding.h"
#include "Text/MailAddresses.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

constexpr std::size_t kLargestFile = 64 << 20;

struct KnownFile {
    Date modified;
    std::uintmax_t size = 0;
    std::vector<Contact> contacts;
};

// A contact, and the places from which a typed prefix may match, in folded case.
struct Entry {
    const Contact* contact = nullptr;
    std::filesystem::path file;
    std::string sortKey;
    std::vector<std::string> words;
};

void addWords(std::vector<std::string>& words, std::string_view text) {
    const std::string folded = foldedCase(text);
    for (std::size_t at = 0; at < folded.size();) {
        at = folded.find_first_not_of(" \t\n(\"'-", at);
        if (at == std::string::npos) return;
        words.push_back(folded.substr(at));
        at = folded.find_first_of(" \t\n(\"'-", at);
    }
}

class VCardFolder final : public ContactBook {
public:
    VCardFolder(std::filesystem::path folder, FileSystem& files, bool isFollowed)
        : folder_(std::move(folder)), files_(files), isToFollow_(isFollowed) {}
    ~VCardFolder() override { watch_.reset(); }  // before what its handler touches

    std::vector<Contact> all() override {
        return select([](const Entry&) { return true; }, std::string::npos);
    }

    std::vector<Contact> withMailAddress(std::string_view address) override {
        return select([&](const Entry& entry) { return entry.contact->hasMailAddress(address); }, std::string::npos);
    }

    std::string displayNameFor(std::string_view mailAddress) override {
        const std::lock_guard hold(lock_);
        refresh();
        const auto found = std::ranges::find_if(
            entries_, [&](const Entry& entry) { return entry.contact->hasMailAddress(mailAddress); });
        return found == entries_.end() ? std::string() : found->contact->displayName;
    }

    std::vector<Contact> beginningWith(std::string_view prefix, std::size_t limit) override {
        const std::string folded = foldedCase(trimmedAscii(prefix));
        if (folded.empty()) return {};
        return select(
            [&](const Entry& entry) {
                return !entry.contact->mailAddresses.empty() &&
                       std::ranges::any_of(entry.words,
                                           [&](const std::string& word) { return word.starts_with(folded); });
            },
            limit);
    }

    Result<ContactPicture> picture(std::string_view identifier) override {
        std::filesystem::path file;
        {
            const std::lock_guard hold(lock_);
            refresh();
            const auto found = std::ranges::find_if(
                entries_, [&](const Entry& entry) { return entry.contact->identifier == identifier; });
            if (found == entries_.end() || !found->contact->hasPicture) return noPicture();
            file = found->file;
        }
        const auto bytes = files_.readStart(file, kLargestFile);
        if (!bytes) return failed(bytes);
        for (VCard& card : cardsOf(file, *bytes, true))
            if (card.contact.identifier == identifier && !card.picture.empty())
                return ContactPicture{std::move(card.picture), std::move(card.pictureType)};
        return noPicture();
    }

    Result<Contact> add(std::string_view name, std::string_view mailAddress) override {
        if (!isDeliverableAddress(mailAddress))
            return failure(std::string(kContactsErrorDomain), kContactsInvalidAddress,
                           "“" + std::string(mailAddress) + "” is no mail address.");
        const std::lock_guard hold(lock_);
        refresh();
        const auto known = std::ranges::find_if(
            entries_, [&](const Entry& entry) { return entry.contact->hasMailAddress(mailAddress); });
        if (known != entries_.end()) return *known->contact;
        if (auto made = files_.makeFolder(folder_); !made) return failed(made);
        const std::string identifier = newUUIDString();
        const auto file = folder_ / (identifier + ".vcf");
        const std::string card = newVCard("urn:uuid:" + identifier, name, mailAddress);
        if (auto written = files_.replace(file, card); !written) return failed(written);
        isStale_ = true;
        refresh();
        return readVCards(card, false).front().contact;
    }

    void reload() override { isStale_ = true; }

private:
    static tl::unexpected<Error> noPicture() {
        return failure(std::string(kContactsErrorDomain), kContactsNotFound, "There is no picture of this contact.");
    }

    template <class Test>
    std::vector<Contact> select(Test test, std::size_t limit) {
        const std::lock_guard hold(lock_);
        refresh();
        std::vector<Contact> found;
        for (const Entry& entry : entries_) {
            if (found.size() >= limit) break;
            if (test(entry)) found.push_back(*entry.contact);
        }
        return found;
    }

    // A card without an identifier is known by its file and its place in it.
    static std::vector<VCard> cardsOf(const std::filesystem::path& file, std::string_view bytes, bool withPictures) {
        auto cards = readVCards(bytes, withPictures);
        for (std::size_t i = 0; i < cards.size(); ++i)
            if (cards[i].contact.identifier.empty())
                cards[i].contact.identifier = file.filename().string() + "#" + std::to_string(i);
        return cards;
    }

    void follow() {
        isToFollow_ = false;
        if (const auto made = files_.makeFolder(folder_); !made)
            logWarning("there is no folder for contacts: " + made.error().description);
        watch_ = FolderWatch::make(
            folder_, [this](std::string_view) { isStale_ = true; }, FolderWatch::Tells::GoneFilesToo);
        if (!watch_) logWarning("contacts that other programs change are seen at the next start");
    }

    // Under the lock.
    void refresh() {
        if (isToFollow_) follow();
        if (!isStale_.exchange(false)) return;
        const auto listed = files_.list(folder_);
        if (!listed && listed.error().code != ENOENT) {
            logWarning("the contacts can't be read: " + listed.error().description);
            return;
        }
        std::map<std::filesystem::path, KnownFile> present;
        for (const FileInfo& info : listed ? *listed : std::vector<FileInfo>())
            if (!info.isFolder && equalsIgnoringCase(info.path.extension().string(), ".vcf"))
                present.emplace(info.path, takeFile(info));
        known_ = std::move(present);
        sort();
    }

    KnownFile takeFile(const FileInfo& info) {
        const auto known = known_.find(info.path);
        if (known != known_.end() && known->second.size == info.size && !(known->second.modified < info.modified) &&
            !(info.modified < known->second.modified))
            return std::move(known->second);
        KnownFile file{.modified = info.modified, .size = info.size, .contacts = {}};
        const auto bytes = files_.readStart(info.path, kLargestFile);
        if (!bytes) {
            logWarning("a contact can't be read: " + bytes.error().description);
            file.size = static_cast<std::uintmax_t>(-1);  // tried again
            return file;
        }
        for (VCard& card : cardsOf(info.path, *bytes, false))
            file.contacts.push_back(std::move(card.contact));
        return file;
    }

    void sort() {
        entries_.clear();
        for (const auto& [path, file] : known_) {
            for (const Contact& contact : file.contacts) {
                Entry entry{.contact = &contact, .file = path, .sortKey = foldedCase(contact.displayName), .words = {}};
                for (const std::string* text : {&contact.displayName, &contact.nickname, &contact.organization})
                    addWords(entry.words, *text);
                for (const auto& address : contact.mailAddresses)
                    entry.words.push_back(foldedCase(address.value));
                entries_.push_back(std::move(entry));
            }
        }
        std::ranges::stable_sort(entries_, {}, &Entry::sortKey);
    }

    const std::filesystem::path folder_;
    FileSystem& files_;
    std::mutex lock_;
    bool isToFollow_;
    std::atomic<bool> isStale_ = true;
    std::map<std::filesystem::path, KnownFile> known_;
    std::vector<Entry> entries_;  // of known_, by name
    std::unique_ptr<FolderWatch> watch_;
};

}  // namespace

std::shared_ptr<ContactBook> ContactBook::inFolder(std::filesystem::path folder, FileSystem& files, bool isFollowed) {
    return std::make_shared<VCardFolder>(std::move(folder), files, isFollowed);
}

}  // namespace qs
