#include "Support/GmailMail.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qs {

namespace {

using Place = GmailMessage::Place;

constexpr std::array<std::pair<const char*, const char*>, 3> kSystemLabels{
    {{"INBOX", "\\Inbox"}, {GmailMail::kDrafts, "\\Draft"}, {GmailMail::kSent, "\\Sent"}}};

Place placeOf(const std::string& mailbox) {
    if (mailbox == GmailMail::kTrash) return Place::Trash;
    return mailbox == GmailMail::kJunk ? Place::Junk : Place::AllMail;
}

}  // namespace

GmailMail::GmailMail() {
    const std::pair<const char*, const char*> all[] = {{"INBOX", ""},     {kAll, "\\All"},   {kTrash, "\\Trash"},
                                                       {kJunk, "\\Junk"}, {kSent, "\\Sent"}, {kDrafts, "\\Drafts"}};
    for (const auto& [name, use] : all)
        mailboxes[name] = {.use = use, .uidValidity = ++lastValidity_, .messages = {}, .deleted = {}};
}

void GmailMail::show(GmailMessage& message) {
    message.modSeq = ++lastModSeq_;
    for (auto& [name, mailbox] : mailboxes) {
        const bool isShown = name == kTrash  ? message.place == Place::Trash
                             : name == kJunk ? message.place == Place::Junk
                             : name == kAll  ? message.place == Place::AllMail
                                             : message.place == Place::AllMail && message.labels.contains(name);
        const std::uint32_t uid = uidIn(name, message.number);
        if (isShown && uid == 0) mailbox.messages[mailbox.uidNext++] = message.number;
        if (!isShown && uid != 0) {
            mailbox.messages.erase(uid);
            mailbox.deleted.erase(uid);
        }
    }
}

std::uint64_t GmailMail::add(const std::string& content, const std::set<std::string>& labels,
                             const std::set<std::string>& flags, const std::string& date) {
    for (auto& [number, message] : messages)
        if (message.content == content && message.place == Place::AllMail) {
            label(number, labels, {});
            return number;
        }
    GmailMessage& message = messages[++lastNumber_];
    message.number = lastNumber_;
    message.content = content;
    message.date = date;
    message.flags = flags;
    for (const std::string& each : labels)
        if (isLabel(each)) message.labels.insert(each);
    if (labels.contains(kTrash)) message.place = Place::Trash;
    if (labels.contains(kJunk)) message.place = Place::Junk;
    show(message);
    return message.number;
}

void GmailMail::label(std::uint64_t number, const std::set<std::string>& added, const std::set<std::string>& taken) {
    GmailMessage& message = messages.at(number);
    for (const std::string& each : added)
        if (isLabel(each)) message.labels.insert(each);
    for (const std::string& each : taken)
        message.labels.erase(each);
    show(message);
}

void GmailMail::setFlags(std::uint64_t number, std::set<std::string> flags) {
    GmailMessage& message = messages.at(number);
    message.flags = std::move(flags);
    message.modSeq = ++lastModSeq_;
}

void GmailMail::move(std::uint64_t number, const std::string& from, const std::string& to) {
    GmailMessage& message = messages.at(number);
    message.labels.erase(from);
    message.place = placeOf(to);
    if (message.place != Place::AllMail) message.labels.clear();
    if (isLabel(to)) message.labels.insert(to);
    show(message);
}

void GmailMail::copy(std::uint64_t number, const std::string& to) {
    if (placeOf(to) != Place::AllMail) return move(number, {}, to);
    label(number, {to}, {});
}

void GmailMail::expunge(const std::string& mailbox, std::uint32_t uid) {
    const std::uint64_t number = mailboxes.at(mailbox).messages.at(uid);
    if (mailbox == kTrash || mailbox == kJunk) return erase(number);
    if (mailbox == kAll) return move(number, {}, kTrash);
    label(number, {}, {mailbox});
}

void GmailMail::erase(std::uint64_t number) {
    for (auto& [name, mailbox] : mailboxes)
        if (const std::uint32_t uid = uidIn(name, number)) {
            mailbox.messages.erase(uid);
            mailbox.deleted.erase(uid);
        }
    messages.erase(number);
}

bool GmailMail::create(const std::string& mailbox) {
    return mailboxes
        .emplace(mailbox, GmailMailbox{.use = {}, .uidValidity = ++lastValidity_, .messages = {}, .deleted = {}})
        .second;
}

bool GmailMail::rename(const std::string& from, const std::string& to) {
    const auto found = mailboxes.find(from);
    if (found == mailboxes.end() || !found->second.use.empty() || from == "INBOX" || mailboxes.contains(to))
        return false;
    mailboxes[to] = std::move(found->second);
    mailboxes.erase(from);
    for (auto& [number, message] : messages)
        if (message.labels.erase(from) != 0) message.labels.insert(to);
    return true;
}

bool GmailMail::remove(const std::string& mailbox) {
    const auto found = mailboxes.find(mailbox);
    if (found == mailboxes.end() || !found->second.use.empty() || mailbox == "INBOX") return false;
    mailboxes.erase(found);
    for (auto& [number, message] : messages)
        message.labels.erase(mailbox);
    return true;
}

std::uint32_t GmailMail::uidIn(const std::string& mailbox, std::uint64_t number) const {
    for (const auto& [uid, each] : mailboxes.at(mailbox).messages)
        if (each == number) return uid;
    return 0;
}

// What vanished does not count.
std::uint64_t GmailMail::highestModSeq(const std::string& mailbox) const {
    std::uint64_t highest = 1;
    for (const auto& [uid, number] : mailboxes.at(mailbox).messages)
        highest = std::max(highest, messages.at(number).modSeq);
    return highest;
}

bool GmailMail::isLabel(const std::string& mailbox) const {
    return mailboxes.contains(mailbox) && mailbox != kAll && mailbox != kTrash && mailbox != kJunk;
}

std::string GmailMail::labelOf(const std::string& mailbox) const {
    for (const auto& [name, label] : kSystemLabels)
        if (name == mailbox) return label;
    return isLabel(mailbox) ? mailbox : std::string();
}

std::string GmailMail::mailboxOf(const std::string& label) const {
    for (const auto& [name, each] : kSystemLabels)
        if (each == label) return name;
    return isLabel(label) ? label : std::string();
}

}  // namespace qs
