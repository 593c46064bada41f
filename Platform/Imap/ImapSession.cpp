#include "Imap/ImapSession.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Foundation/Log.h"
#include "Imap/ImapAnswers.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::string_view kResponseCode = "responseCode";
constexpr std::size_t kLiteralMinus = 4096;  // bytes that LITERAL- allows without waiting (RFC 7888)
constexpr std::size_t kAppendPiece = 64 * 1024;
constexpr std::size_t kRenewingBytes = 1u << 20;   // a large message may take long, but not as long as it likes
constexpr std::size_t kMostResponses = 5'000'000;  // to one command

ImapFailure failureFrom(const Error& error) {
    switch (streamFailure(error)) {
    case StreamFailure::NotReachable: return ImapFailure::NotReachable;
    case StreamFailure::TimedOut: return ImapFailure::TimedOut;
    case StreamFailure::HungUp: return ImapFailure::HungUp;
    case StreamFailure::Cancelled: return ImapFailure::Cancelled;
    case StreamFailure::Tls: return ImapFailure::TlsFailed;
    case StreamFailure::NotTrusted: return ImapFailure::NotTrusted;
    case StreamFailure::Malformed: break;
    }
    return ImapFailure::Malformed;
}

// Of RFC 5530 and what large servers say, also in place of a code: it may work later.
bool isForNow(const ImapResponse& answer) {
    static constexpr std::array<std::string_view, 5> kCodes{"UNAVAILABLE", "INUSE", "LIMIT", "THROTTLED", "SERVERBUG"};
    static constexpr std::array<std::string_view, 9> kWords{"too many simultaneous",
                                                            "too many connections",
                                                            "maximum number of connections",
                                                            "try again",
                                                            "throttled",
                                                            "bandwidth limit",
                                                            "rate limit",
                                                            "temporarily unavailable",
                                                            "temporary authentication failure"};
    const std::string text = asciiLowered(answer.text);
    return std::any_of(kCodes.begin(), kCodes.end(), [&](std::string_view code) { return answer.hasCode(code); }) ||
           std::any_of(kWords.begin(), kWords.end(),
                       [&](std::string_view words) { return text.find(words) != std::string::npos; });
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text.substr(0, 500))
        if (!isAsciiControl(c)) result += c;
    return result;
}

}  // namespace

std::string_view imapResponseCode(const Error& error) {
    const auto found = error.userInfo.find(kResponseCode);
    return found == error.userInfo.end() ? std::string_view() : std::string_view(found->second.string());
}

tl::unexpected<Error> imapFailed(ImapFailure code, std::string description, std::string responseCode) {
    Error error{std::string(kImapErrorDomain), static_cast<int>(code), std::move(description), {}};
    if (!responseCode.empty()) error.userInfo.emplace(kResponseCode, std::move(responseCode));
    return failure(std::move(error));
}

Error unaskedAnswer() {
    return imapFailed(ImapFailure::Malformed, "The server answered what nobody had asked.").value();
}

ImapConnection::Session::Session(ImapServer given)
    : server(std::move(given)),
      reader([this](char* buffer, std::size_t size) { return read(buffer, size); },
             {.textBytes = server.limits.textBytes, .literalBytes = server.limits.literalBytes}) {}

Result<std::size_t> ImapConnection::Session::read(char* buffer, std::size_t size) {
    auto length = stream.read(buffer, size);
    if (!length || !renewsDeadline) return length;
    bytesSinceRenewal += *length;
    if (bytesSinceRenewal >= kRenewingBytes) {
        bytesSinceRenewal = 0;
        stream.setDeadline(server.limits.answerSeconds);
    }
    return length;
}

bool ImapConnection::Session::has(std::string_view capability) const {
    return capabilities.contains(asciiUppered(capability));
}

std::optional<std::uint64_t> ImapConnection::Session::appendLimit() const {
    constexpr std::string_view kLimit = "APPENDLIMIT=";
    const auto found = capabilities.lower_bound(std::string(kLimit));
    if (found == capabilities.end() || !found->starts_with(kLimit)) return {};
    return ImapItem{.text = found->substr(kLimit.size()), .items = {}}.number();
}

tl::unexpected<Error> ImapConnection::Session::lost(const Error& error) {
    isOpen = false;
    stream.close();
    if (error.domain != kStreamErrorDomain) return failure(error);
    const ImapFailure code = failureFrom(error);
    if (code == ImapFailure::HungUp && !farewell.empty())
        return imapFailed(isFarewellForNow ? ImapFailure::Temporary : code,
                          "The server " + server.host + " ended the connection: " + farewell);
    return imapFailed(code, error.description);
}

Result<ImapResponse> ImapConnection::Session::next() {
    auto response = reader.next();
    if (!response) return lost(response.error());
    if (++responses > kMostResponses)
        return lost(imapFailed(ImapFailure::Malformed, "The server does not come to an end.").value());
    if (renewsDeadline) stream.setDeadline(server.limits.answerSeconds);
    return response;
}

void ImapConnection::Session::noteCapabilities(const std::vector<ImapItem>& items, std::size_t from) {
    capabilities.clear();
    capabilitiesAreNew = true;
    for (std::size_t i = from; i < items.size(); ++i)
        capabilities.insert(asciiUppered(items[i].text));
}

void ImapConnection::Session::dealWith(ImapResponse& response, const Untagged& untagged) {
    using Kind = ImapUpdate::Kind;
    if (response.status == ImapResponse::Status::Bye) {
        farewell = printable(response.text);
        isFarewellForNow = isForNow(response);
    }
    if (response.hasCode("CAPABILITY")) noteCapabilities(response.code, 1);
    if (response.name == "CAPABILITY") noteCapabilities(response.items, 0);
    if (untagged && response.kind == ImapResponse::Kind::Untagged && untagged(response)) return;

    ImapUpdate update;
    update.number = response.number;
    if (response.hasCode("ALERT")) {
        update.kind = Kind::Alert;
        update.text = printable(response.text);
    } else if (response.name == "EXISTS") {
        update.kind = Kind::Exists;
    } else if (response.name == "EXPUNGE") {
        update.kind = Kind::Expunged;
    } else if (response.name == "FETCH") {
        update.kind = Kind::Changed;
        update.message = messageFrom(response);
        update.message.content.reset();
    } else if (response.name == "VANISHED") {
        auto vanished = vanishedFrom(response);
        if (!vanished) return;
        update = std::move(*vanished);
    } else {
        return;
    }
    if (update.kind != Kind::Alert) ++updates;
    if (handler) handler(update);
}

Result<ImapResponse> ImapConnection::Session::nextAnswer(const Untagged& untagged) {
    for (;;) {
        auto response = next();
        if (!response) return failed(response);
        if (response->kind == ImapResponse::Kind::Tagged) dealWith(*response);
        if (response->kind != ImapResponse::Kind::Untagged) return response;
        dealWith(*response, untagged);
    }
}

Result<void> ImapConnection::Session::write(std::string_view bytes) {
    auto written = stream.write(bytes);
    if (written) return {};
    // What the server said before it hung up tells more than that it did.
    stream.setSilence(1);
    while (streamFailure(written.error()) == StreamFailure::HungUp) {
        auto response = reader.next();
        if (!response) break;
        dealWith(*response);
    }
    return lost(written.error());
}

Error ImapConnection::Session::errorFor(const ImapResponse& answer) const {
    const std::string code = answer.code.empty() ? std::string() : answer.code.front().text;
    std::string said = "The server " + server.host + " answered: " + printable(answer.text);
    if (!said.ends_with('.')) said += '.';
    // Some say BAD to a command that comes too soon.
    const ImapFailure kind = isForNow(answer)                             ? ImapFailure::Temporary
                             : answer.status == ImapResponse::Status::Bad ? ImapFailure::NotAccepted
                                                                          : ImapFailure::Refused;
    return imapFailed(kind, said, code).value();
}

Result<std::string> ImapConnection::Session::send(const ImapCommand& command, const Untagged& untagged) {
    if (!isOpen) return imapFailed(ImapFailure::HungUp, "There is no connection to " + server.host + ".");
    if (!command.isSendable())
        return imapFailed(ImapFailure::NotAccepted, "The name has characters that can't be sent to a mail server.");
    stream.setSilence(server.limits.silenceSeconds);
    stream.setDeadline(server.limits.answerSeconds);
    responses = 0;
    const std::string tag = "a" + std::to_string(++lastTag);
    std::string line = tag + " ";
    for (const ImapCommand::Part& part : command.parts()) {
        line += part.text;
        if (!part.hasLiteral()) continue;
        const std::uint64_t size = part.content ? part.content->size : part.literal.size();
        // A server that does not want what is large should say so before it has come.
        const bool waits =
            size > server.limits.pieceBytes || (!has("LITERAL+") && !(has("LITERAL-") && size <= kLiteralMinus));
        line += "{" + std::to_string(size) + (waits ? "}" : "+}");
        if (auto sent = write(std::exchange(line, {}) + "\r\n"); !sent) return failed(sent);
        if (waits) {
            auto answer = nextAnswer(untagged);
            if (!answer) return failed(answer);
            if (answer->kind == ImapResponse::Kind::Tagged) return failure(errorFor(*answer));
        }
        if (part.content) {
            if (auto sent = sendContent(*part.content); !sent) return failed(sent);
            // Servers look through what is large before they say a word.
            if (size > server.limits.pieceBytes) stream.setSilence(server.limits.answerSeconds);
        } else if (auto sent = write(part.literal); !sent) {
            return failed(sent);
        }
    }
    if (auto sent = write(line + "\r\n"); !sent) return failed(sent);
    return tag;
}

Result<void> ImapConnection::Session::sendContent(const SizedSource& content) {
    // The number of bytes is promised already: without all of them there is no way back to commands.
    std::string piece(kAppendPiece, '\0');
    for (std::uint64_t left = content.size; left > 0;) {
        auto length = content.read(piece.data(), static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size())));
        const bool isRead = length && *length > 0 && *length <= left;
        if (!isRead) {
            isOpen = false;
            stream.close();
            return imapFailed(ImapFailure::Source,
                              length ? "The message ended too early." : length.error().description);
        }
        stream.setDeadline(server.limits.answerSeconds);
        if (auto sent = write(std::string_view(piece).substr(0, *length)); !sent) return sent;
        left -= *length;
    }
    return {};
}

Result<ImapResponse> ImapConnection::Session::run(const ImapCommand& command, const Untagged& untagged) {
    auto tag = send(command, untagged);
    if (!tag) return failed(tag);
    for (;;) {
        auto answer = nextAnswer(untagged);
        if (!answer) return failed(answer);
        if (answer->kind == ImapResponse::Kind::Continuation || answer->tag != *tag) return lost(unaskedAnswer());
        if (answer->status == ImapResponse::Status::Ok) return answer;
        return failure(errorFor(*answer));
    }
}

Result<void> ImapConnection::Session::orWithout(const Result<void>& asked) const {
    if (asked) return {};
    if (!isOpen) return asked;
    logInfo(asked.error().description + " It goes on without.");
    return {};
}

Result<void> ImapConnection::Session::ask(std::string_view words) {
    auto answer = run(ImapCommand(words));
    if (!answer) return failed(answer);
    return {};
}

}  // namespace qs
