// The person's address book: a folder of vCard files (*.vcf, one card or many in each), which other programs may keep
// as well. What they change is seen soon after.
//
// Safe from every thread. The first question after a change reads the files that changed; all others are answered from
// memory, in which no pictures are kept.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Contacts/Contact.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;

inline constexpr std::string_view kContactsErrorDomain = "Contacts";
enum ContactsErrorCode {
    kContactsNotFound = 1,       // the contact is not there, or not any more, or has no picture
    kContactsInvalidAddress = 2  // mail can't be sent to that address
};

struct ContactPicture {
    std::string bytes, type;  // "image/png", or jpeg, gif, webp; by what the card says, so from whoever made it
};

class ContactBook {
public:
    virtual ~ContactBook() = default;
    // Touches nothing yet. `isFollowed`: from the first question on the folder is there and watched; else it need not
    // be there before the first contact is added, and what other programs change is seen by reload() alone.
    static std::shared_ptr<ContactBook> inFolder(std::filesystem::path folder, FileSystem& files, bool isFollowed);

    // By name.
    virtual std::vector<Contact> all() = 0;
    // Those with that mail address, without regard to case.
    virtual std::vector<Contact> withMailAddress(std::string_view address) = 0;
    // The name of the first of them; empty for none.
    virtual std::string displayNameFor(std::string_view mailAddress) = 0;
    // Those with a mail address, of whom a word of the name, nickname or organisation, or a mail address, begins so; by
    // name. Without regard to case.
    virtual std::vector<Contact> beginningWith(std::string_view prefix, std::size_t limit) = 0;
    // Read from the file.
    virtual Result<ContactPicture> picture(std::string_view identifier) = 0;
    // A card in a file of its own, durable when this returns. Whoever has the address already is answered instead.
    virtual Result<Contact> add(std::string_view name, std::string_view mailAddress) = 0;
    virtual void reload() = 0;
};

}  // namespace qs
