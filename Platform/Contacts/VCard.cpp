#include "Contacts/VCard.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "Contacts/VCardLines.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/ContentLines.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kMostValues = 200;  // of one kind in one card

std::string joined(std::initializer_list<std::string_view> parts, std::string_view between) {
    std::string text;
    for (const std::string_view part : parts) {
        if (part.empty()) continue;
        if (!text.empty()) text += between;
        text += part;
    }
    return text;
}

std::string partAt(const std::vector<std::string>& parts, std::size_t index) {
    return index < parts.size() ? parts[index] : std::string();
}

// The pictures that a browser draws and that can do no harm in it.
std::string pictureType(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kTypes{{{"jpeg", "image/jpeg"},
                                                                                   {"jpg", "image/jpeg"},
                                                                                   {"png", "image/png"},
                                                                                   {"gif", "image/gif"},
                                                                                   {"webp", "image/webp"}}};
    if (startsWithIgnoringCase(name, "image/")) name.remove_prefix(6);
    for (const auto& [known, type] : kTypes)
        if (equalsIgnoringCase(name, known)) return std::string(type);
    return {};
}

std::string pictureTypeOf(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xD8\xFF")) return "image/jpeg";
    if (bytes.starts_with("\x89PNG\r\n")) return "image/png";
    if (bytes.starts_with("GIF8")) return "image/gif";
    if (bytes.starts_with("RIFF") && bytes.substr(0, 12).ends_with("WEBP")) return "image/webp";
    return {};
}

class CardReader {
public:
    explicit CardReader(bool withPictures) : withPictures_(withPictures) {}

    void take(VCardLine&& line) {
        const std::string& name = line.name;
        if (name == "fn") return setOnce(card_.contact.displayName, line);
        if (name == "nickname") return setOnce(card_.contact.nickname, line);
        if (name == "uid") return setOnce(card_.contact.identifier, line);
        if (name == "title") return setOnce(card_.contact.jobTitle, line);
        if (name == "n") return takeName(line.value);
        if (name == "org") return takeOrganization(line.value);
        if (name == "email") return takeLabelled(card_.contact.mailAddresses, mailGroups_, std::move(line), "mailto:");
        if (name == "tel") return takeLabelled(card_.contact.phones, phoneGroups_, std::move(line), "tel:");
        if (name == "adr") return takePostal(std::move(line));
        if (name == "photo") return takePicture(std::move(line));
        if (name == "x-ablabel") groupLabels_[line.group] = asciiLowered(labelText(line.value));
    }

    // Nothing for a card that says nothing.
    bool finish(VCard& into) {
        Contact& contact = card_.contact;
        addGroupLabels(contact.mailAddresses, mailGroups_);
        addGroupLabels(contact.phones, phoneGroups_);
        putPreferredFirst(contact.mailAddresses);
        putPreferredFirst(contact.phones);
        const auto fallBackTo = [&](const std::string& text) {
            if (contact.displayName.empty()) contact.displayName = text;
        };
        fallBackTo(joined({contact.givenName, contact.familyName}, " "));
        fallBackTo(contact.nickname);
        fallBackTo(contact.organization);
        fallBackTo(contact.mailAddresses.empty() ? std::string() : contact.mailAddresses.front().value);
        into = std::move(card_);
        return !into.contact.displayName.empty();
    }

private:
    static void setOnce(std::string& text, const VCardLine& line) {
        if (text.empty()) text = unescapedVCardText(line.value);
    }
    // Some programs put their own words into brackets: "_$!<Work>!$_".
    static std::string labelText(std::string_view label) {
        label = trimmedAscii(label);
        if (label.starts_with("_$!<") && label.ends_with(">!$_") && label.size() > 8)
            label = label.substr(4, label.size() - 8);
        return unescapedVCardText(label);
    }
    void takeName(std::string_view value) {
        const auto parts = vCardParts(value);
        card_.contact.familyName = partAt(parts, 0);
        card_.contact.givenName = partAt(parts, 1);
    }
    void takeOrganization(std::string_view value) {
        if (card_.contact.organization.empty()) card_.contact.organization = partAt(vCardParts(value), 0);
    }
    void takeLabelled(std::vector<Contact::Labelled>& list, std::vector<std::string>& groups, VCardLine&& line,
                      std::string_view scheme) {
        std::string value = unescapedVCardText(line.value);
        if (startsWithIgnoringCase(value, scheme)) value.erase(0, scheme.size());
        if (value.empty() || list.size() == kMostValues) return;
        list.push_back({std::move(value), std::move(line.labels)});
        groups.push_back(std::move(line.group));
    }
    void takePostal(VCardLine&& line) {
        if (card_.contact.postalAddresses.size() == kMostValues) return;
        const auto parts = vCardParts(line.value);
        Contact::PostalAddress address{.street = joined({partAt(parts, 0), partAt(parts, 1), partAt(parts, 2)}, "\n"),
                                       .city = partAt(parts, 3),
                                       .region = partAt(parts, 4),
                                       .postalCode = partAt(parts, 5),
                                       .country = partAt(parts, 6),
                                       .labels = std::move(line.labels)};
        if (!address.text().empty()) card_.contact.postalAddresses.push_back(std::move(address));
    }
    // In the card itself, or as the data URL of 4.0. What only names a place on the web is not asked for.
    void takePicture(VCardLine&& line) {
        if (card_.contact.hasPicture) return;
        std::string type = pictureType(line.mediaType);
        for (const std::string& label : line.labels)
            if (type.empty()) type = pictureType(label);
        constexpr std::string_view kInline = ";base64,";
        if (!line.isBase64) {
            if (!startsWithIgnoringCase(line.value, "data:")) return;
            const std::size_t comma = line.value.find(kInline);
            if (comma == std::string::npos) return;
            type = pictureType(std::string_view(line.value).substr(5, comma - 5));
            line.value.erase(0, comma + kInline.size());
            if (withPictures_) line.value = dataFromBase64String(line.value).value_or("");
        }
        if (withPictures_ && type.empty()) type = pictureTypeOf(line.value);
        card_.contact.hasPicture = !line.value.empty();
        if (!withPictures_ || type.empty() || line.value.empty()) return;
        card_.picture = std::move(line.value);
        card_.pictureType = std::move(type);
    }
    void addGroupLabels(std::vector<Contact::Labelled>& list, const std::vector<std::string>& groups) {
        for (std::size_t i = 0; i < list.size(); ++i)
            if (const auto label = groupLabels_.find(groups[i]); label != groupLabels_.end() && !label->first.empty())
                list[i].labels.push_back(label->second);
    }
    static void putPreferredFirst(std::vector<Contact::Labelled>& list) {
        std::stable_partition(list.begin(), list.end(), [](const auto& each) { return each.is("pref"); });
    }

    bool withPictures_;
    VCard card_;
    std::vector<std::string> mailGroups_, phoneGroups_;  // of the values at the same place
    std::map<std::string, std::string> groupLabels_;
};

}  // namespace

bool Contact::Labelled::is(std::string_view label) const { return std::ranges::find(labels, label) != labels.end(); }

std::string Contact::PostalAddress::text() const {
    return joined({street, joined({postalCode, city}, " "), region, country}, "\n");
}

bool Contact::hasMailAddress(std::string_view address) const {
    return std::ranges::any_of(mailAddresses,
                               [&](const Labelled& each) { return equalsIgnoringCase(each.value, address); });
}

std::vector<VCard> readVCards(std::string_view bytes, bool withPictures) {
    std::vector<VCard> cards;
    VCardLines lines(bytes, withPictures);
    CardReader reader(withPictures);
    int depth = 0;  // a card within a card (AGENT) is somebody else
    const auto finish = [&] {
        VCard card;
        if (reader.finish(card)) cards.push_back(std::move(card));
    };
    for (VCardLine line; cards.size() < kMostCards && lines.next(line);) {
        const bool isCard = equalsIgnoringCase(trimmedAscii(line.value), "vcard");
        if (line.name == "begin" && isCard) {
            if (depth++ == 0) reader = CardReader(withPictures);
        } else if (line.name == "end" && isCard) {
            if (depth > 0 && --depth == 0) finish();
        } else if (depth == 1) {
            reader.take(std::move(line));
        }
    }
    if (depth > 0) finish();  // the file is cut off: what is there is better than nothing
    return cards;
}

std::string newVCard(std::string_view identifier, std::string_view name, std::string_view mailAddress) {
    const std::string shown = validUtf8(name.empty() ? mailAddress : name);
    const std::size_t blank = name.empty() ? std::string::npos : shown.rfind(' ');
    const std::string family = blank == std::string::npos ? std::string() : shown.substr(blank + 1);
    const std::string given = name.empty() ? std::string() : shown.substr(0, blank);
    return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + foldedContentLine("UID:" + escapedContentText(identifier)) +
           foldedContentLine("FN:" + escapedContentText(shown)) +
           foldedContentLine("N:" + escapedContentText(family) + ";" + escapedContentText(given) + ";;;") +
           foldedContentLine("EMAIL;TYPE=INTERNET:" + escapedContentText(validUtf8(mailAddress))) + "END:VCARD\r\n";
}

}  // namespace qs
