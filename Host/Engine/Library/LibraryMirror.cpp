// Taking up what happened to messages in another place, of which an account is a mirror.
#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Library/LibraryCore.h"

namespace qs {

namespace {

Error noMailbox() {
    return {std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there any more.", {}};
}

}  // namespace

Result<void> LibraryCore::addMirrored(Mailbox& mailbox, const std::vector<MirroredArrival>& messages, bool isNews) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    // Reading them apart takes longest, so nobody has to wait for it.
    std::vector<MessageFacts> facts;
    for (const MirroredArrival& each : messages)
        facts.push_back(messageFacts(each.content.substr(0, kIndexedBytes), each.content.size() <= kIndexedBytes));
    auto keywords = MaildirKeywords::load(box->maildir().root(), files_);
    std::vector<Maildir::Delivery> deliveries;
    for (const MirroredArrival& each : messages) {
        auto letters = lettersWithFlags({}, each.flags, keywords);
        if (!letters) return failed(letters);
        deliveries.push_back({each.content, each.name, std::move(*letters), each.received});
    }
    const auto files = box->maildir().deliverAll(deliveries);
    if (!files) return failed(files);
    std::vector<std::int64_t> arrived;
    try {
        auto index = index_->write();
        for (std::size_t i = 0; i < messages.size(); ++i) {
            const MirroredArrival& each = messages[i];
            if ((*files)[i].empty()) continue;
            const auto inserted = tables::insert(*index, box->indexed(), each.name, (*files)[i],
                                                 packedFlags(each.flags), each.received, each.content.size(), facts[i]);
            if (inserted.isNew) arrived.push_back(inserted.row.id);
        }
        index.commit();
    } catch (const DatabaseFailure& failure) {
        // The files are there, and the next look at the folder takes them up.
        indexFailed(failure);
        rescanLater(Work{.changed = {{box->indexed().number, box}}});
        return {};
    }
    announcer_->mailboxChanged(box->identifier());
    for (const std::int64_t id : arrived)
        announcer_->messageArrived(id, !isNews);
    return {};
}

Result<void> LibraryCore::setMirroredFlags(Mailbox& mailbox, const std::map<std::string, FlagBits>& flags) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    return changeFiles([&](Database& index, Work& work) {
        Result<void> result;
        for (const auto& [name, bits] : flags) {
            const auto changed = [&bits = bits](const MessageFlags& before) {
                return unpackedFlags((packedFlags(before) | bits.set) & ~bits.clear);
            };
            auto row = tables::findByName(index, box->indexed().number, name);
            auto done = row ? changeFlags(index, *row, changed, work) : Result<void>();
            if (row && !done && done.error().code == ENOENT && (row = foundAgain(index, *row)))
                done = changeFlags(index, *row, changed, work);
            if (!done && done.error().code != ENOENT) result = done;
        }
        return result;
    });
}

Result<void> LibraryCore::dropMirrored(Mailbox& mailbox, const std::vector<std::string>& names) {
    const auto box = mailboxNamed(mailbox.identifier());
    if (!box) return failure(noMailbox());
    return changeFiles([&](Database& index, Work& work) {
        Result<void> result;
        for (const std::string& name : names)
            if (const auto row = tables::findByName(index, box->indexed().number, name))
                if (const auto done = eraseOne(index, *row, work); !done) result = done;
        return result;
    });
}

}  // namespace qs
