// A message read apart: headers, the body that a person reads, attachments. Reading never fails as a whole: what is
// damaged is shown as far as it can be, and damage() says so. Bounded in depth and in the number of parts. Of a file no
// more is held than the body; attachments are read when they are asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"

namespace qs {

class MessageHeaders;
class OpenFile;

struct MimePart {
    std::string part;      // its number, "2" or "1.2"
    std::string fileName;  // decoded, made safe: no path, no control characters; never empty for an attachment
    std::string mimeType;
    std::string contentID;   // without angle brackets
    std::uint64_t size = 0;  // bytes, decoded
    bool isInline = false;   // referred to by the HTML body
};

class MimeMessage {
public:
    static std::shared_ptr<MimeMessage> parse(std::string_view content);
    static std::shared_ptr<MimeMessage> parse(std::shared_ptr<const OpenFile> file);
    virtual ~MimeMessage() = default;

    virtual std::shared_ptr<MessageHeaders> headers() const = 0;
    // The richest body for display; nothing when the message has only the other kind. UTF-8.
    virtual std::optional<std::string> htmlBody() const = 0;
    virtual std::optional<std::string> plainBody() const = 0;
    virtual std::vector<MimePart> attachments() const = 0;                            // inline pictures included
    virtual std::optional<std::string> partContent(std::string_view part) const = 0;  // decoded
    // The same for attachments of any size. May outlive the message.
    virtual std::optional<SizedSource> partSource(std::string_view part) const = 0;
    virtual std::string damage() const = 0;  // a sentence, or empty
};

inline constexpr std::size_t kLargestHeader = std::size_t{1} << 20;  // all fields together, in bytes; more is not read

// Only the headers, for indexing: reads no further than the empty line.
std::shared_ptr<MessageHeaders> parseHeaders(std::string_view content);

}  // namespace qs
