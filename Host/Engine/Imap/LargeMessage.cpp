#include "Imap/LargeMessage.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Foundation/FileSystem.h"
#include "Imap/ImapConnection.h"
#include "Imap/MailKeeper.h"
#include "Imap/ServerFlags.h"
#include "Text/ByteCount.h"

namespace qs {

namespace {

constexpr std::uint64_t kRoomForOthers = 64u << 20;  // bytes that are left to the rest of the machine
constexpr std::uint64_t kMostUntold = 1u << 30;      // bytes beyond the size that a server told

Result<void> refused(std::string sentence) {
    return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Refused), std::move(sentence));
}

// One message on its way.
class Fetching {
public:
    Fetching(ImapConnection& line, std::uint32_t uid, MailKeeper& keeper, const std::string& name, BegunMessage& begun)
        : line_(line),
          uid_(uid),
          keeper_(keeper),
          name_(name),
          files_(keeper.files()),
          begun_(begun),
          most_(line.limits().pieceBytes) {}

    Result<std::optional<FetchedMessage>> run() {
        auto piece = first();
        if (!piece) return failed(piece);
        announced_ = *piece ? (*piece)->size.value_or(0) : 0;
        begun_.told = announced_;
        if (!*piece || isNothing(**piece)) return std::optional<FetchedMessage>();
        FetchedMessage message{.uid = uid_,
                               .flags = packedFromServer((*piece)->flags.value_or(ImapFlags())),
                               .date = (*piece)->internalDate.value_or(Date{}),
                               .content = {}};
        if (isWhole(**piece)) {
            message.content = std::move(*(*piece)->content);
            return std::optional(std::move(message));
        }
        const std::uint64_t rest = announced_ - std::min(announced_, begun_.size);
        if (auto room = checkRoom(files_, folder(), rest); !room) return failed(room);
        while (*piece) {
            if (auto written = append(**piece); !written) return failed(written);
            if (isOver_) {
                // Other programs clear folders of temporary files, also of one that is being written.
                if (const auto info = files_.info(begun_.file); !info || info->size != begun_.size)
                    return failure(std::string(kFileErrorDomain), ENOENT,
                                   "What had come of a large message was removed from the disk; it is fetched again.");
                message.file = begun_.file;
                message.isBegun = begun_.isNoted;
                return std::optional(std::move(message));
            }
            piece = next();
            if (!piece) return failed(piece);
        }
        return std::optional<FetchedMessage>();
    }

private:
    using Piece = Result<std::optional<ImapMessage>>;

    Piece ask(bool isFirst) {
        std::optional<ImapMessage> piece;
        auto done = line_.fetch({uid_},
                                {.flags = isFirst,
                                 .date = isFirst,
                                 .size = isFirst,
                                 .content = ImapFetch::Content::Piece,
                                 .pieceStart = begun_.size,
                                 .pieceBytes = most_},
                                [&](ImapMessage message) { piece = std::move(message); });
        if (!done) return failed(done);
        return piece;
    }
    Piece first() {
        auto piece = ask(true);
        const bool isThere = piece ? piece->has_value() : !isRefusal(piece.error());
        const bool isOther = piece && *piece && begun_.told != 0 && (*piece)->size.value_or(begun_.told) != begun_.told;
        if ((isThere && !isOther) || begun_.size == 0) return piece;
        // It is another one than before the program was started; or all of it may be here already, and some servers
        // have no answer behind the end.
        (void)files_.remove(begun_.file);
        begun_.size = 0;
        return ask(true);
    }
    Piece next() {
        auto piece = ask(false);
        const bool isThere = piece ? piece->has_value() : !isRefusal(piece.error());
        if (isThere || begun_.size < announced_) return piece;
        ImapMessage nothing;
        nothing.content.emplace();
        nothing.contentStart = begun_.size;
        return std::optional(std::move(nothing));
    }
    bool isNothing(const ImapMessage& piece) const {
        return begun_.size == 0 && piece.content->empty() && announced_ > 0;
    }
    // A server that knows no pieces gives the whole.
    bool isWhole(const ImapMessage& piece) const {
        if (begun_.size > 0) return false;
        return !piece.contentStart || (piece.content->size() < most_ && piece.content->size() >= announced_);
    }
    Result<void> append(const ImapMessage& piece) {
        const std::size_t size = piece.content->size();
        if (piece.contentStart != begun_.size || size > most_)
            return refused("The server does not give the pieces of a message that it is asked for.");
        if (size > 0)
            if (auto written = files_.append(begun_.file, *piece.content); !written) return written;
        begun_.size += size;
        if (size > 0) keeper_.noteBegun(name_, begun_);
        // Sizes are told wrong by some, so that before it a short piece is no end, nor the size behind it.
        isOver_ = size == 0 || (size < most_ && begun_.size >= announced_);
        const bool isFarOff = isOver_ ? begun_.size < announced_ / 2 : begun_.size > announced_ + kMostUntold;
        if (isFarOff) return refused("The message is of another size than the server says.");
        // Room was asked for what was told.
        return isOver_ || begun_.size < announced_ ? Result<void>() : checkRoom(files_, folder(), most_);
    }
    std::filesystem::path folder() const { return begun_.file.parent_path(); }
    bool isRefusal(const Error& error) const {
        return line_.isOpen() && error.domain == kImapErrorDomain && imapFailure(error) != ImapFailure::Temporary;
    }

    ImapConnection& line_;
    const std::uint32_t uid_;
    MailKeeper& keeper_;
    const std::string& name_;
    FileSystem& files_;
    BegunMessage& begun_;
    const std::size_t most_;
    std::uint64_t announced_ = 0;
    bool isOver_ = false;
};

}  // namespace

Result<std::set<std::uint32_t>> largeMessages(ImapConnection& line, const ImapUidSet& uids) {
    std::set<std::uint32_t> large;
    auto done = line.fetch(uids, {.flags = false, .size = true}, [&](const ImapMessage& message) {
        if (message.size.value_or(0) > line.limits().pieceBytes) large.insert(message.uid);
    });
    if (!done) return failed(done);
    return large;
}

Result<std::optional<FetchedMessage>> fetchOne(ImapConnection& line, std::uint32_t uid, MailKeeper& keeper,
                                               const std::string& name) {
    BegunMessage begun = keeper.takeBegun(name);
    auto message = Fetching(line, uid, keeper, name, begun).run();
    if (!message && !line.isOpen())
        keeper.leaveBegun(name, begun);
    else if (!message || !*message || (*message)->file.empty())
        keeper.dropBegun(name, begun);
    return message;
}

Result<void> checkRoom(FileSystem& files, const std::filesystem::path& folder, std::uint64_t size) {
    const std::uint64_t room = files.freeSpace(folder);
    if (room >= kRoomForOthers && room - kRoomForOthers >= size) return {};
    return failure(std::string(kFileErrorDomain), ENOSPC,
                   "The disk has too little space left for a message of " + megabytesText(size) + ".");
}

bool isLackOfRoom(const Error& error) {
    return error.domain == kFileErrorDomain && (error.code == ENOSPC || error.code == EDQUOT);
}

}  // namespace qs
