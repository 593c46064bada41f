// Takes any bytes for what an IMAP server says. However they are cut into pieces on their way, the same must be read,
// within the limits; and what is made of the answers must survive being written and read again.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Imap/ImapAnswers.h"

namespace {

constexpr std::size_t kTextBytes = 4096, kLiteralBytes = 1024;

std::size_t sizeOf(const std::vector<qs::ImapItem>& items, int depth = 0) {
    if (depth > 33) std::abort();
    std::size_t size = 0;
    for (const qs::ImapItem& item : items)
        size += item.text.size() + sizeOf(item.items, depth + 1);
    return size;
}

std::string shown(const std::vector<qs::ImapItem>& items) {
    std::string text = "(";
    for (const qs::ImapItem& item : items)
        text += item.kind == qs::ImapItem::Kind::List ? shown(item.items) : "<" + item.text + ">";
    return text + ")";
}

void look(qs::ImapResponse& response) {
    if (sizeOf(response.items) + sizeOf(response.code) > kTextBytes + kLiteralBytes) std::abort();
    if (const auto mailbox = qs::mailboxFrom(response)) {
        const std::string text = mailbox->name.text();
        if (qs::ImapMailboxName::fromText(text).text() != text) std::abort();
    }
    qs::ImapUidSet found;
    qs::addFound(response, found);
    if (const auto vanished = qs::vanishedFrom(response)) found.add(vanished->uids);
    if (!found.isEmpty() && qs::ImapUidSet::parse(found.text()) != found) std::abort();
    qs::ImapCopied copied;
    qs::addCopied(response, copied);
    if (copied.source.size() != copied.target.size()) std::abort();
    (void)qs::statusFrom(response);
    (void)qs::namespacesFrom(response);
    const qs::ImapMessage message = qs::messageFrom(response);
    if (message.internalDate && qs::dateFromImap(qs::imapDateTime(*message.internalDate)) != message.internalDate)
        std::abort();
}

std::string readAll(std::string_view said, std::size_t piece) {
    qs::ImapReader reader(
        [&](char* buffer, std::size_t size) -> qs::Result<std::size_t> {
            const std::size_t length = std::min({size, piece, said.size()});
            if (length == 0) return qs::failure("hung up", 1, "");
            std::copy_n(said.data(), length, buffer);
            said.remove_prefix(length);
            return length;
        },
        {.textBytes = kTextBytes, .literalBytes = kLiteralBytes});
    std::string all;
    for (;;) {
        auto response = reader.next();
        if (!response) return all + response.error().domain + response.error().description;
        all += response->tag + response->name + std::to_string(response->number) + shown(response->code) +
               shown(response->items) + response->text + "\n";
        look(*response);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view said(reinterpret_cast<const char*>(bytes), size);
    if (readAll(said, 1) != readAll(said, 4096)) std::abort();
    return 0;
}
