#include "Support/MeasuredFiles.h"

#include <algorithm>

namespace qs {

class MeasuredFiles::Opened : public OpenFile {
public:
    Opened(std::shared_ptr<const OpenFile> file, std::shared_ptr<std::atomic<std::size_t>> largest)
        : file_(std::move(file)), largest_(std::move(largest)) {}
    std::uint64_t size() const override { return file_->size(); }
    Result<std::size_t> readAt(std::uint64_t place, char* buffer, std::size_t size) const override {
        auto length = file_->readAt(place, buffer, size);
        if (length) note(*largest_, *length);
        return length;
    }

private:
    const std::shared_ptr<const OpenFile> file_;
    const std::shared_ptr<std::atomic<std::size_t>> largest_;
};

void MeasuredFiles::note(std::atomic<std::size_t>& largest, std::size_t bytes) {
    std::size_t before = largest;
    while (before < bytes && !largest.compare_exchange_weak(before, bytes)) {
    }
}

Result<std::string> MeasuredFiles::read(const std::filesystem::path& file) {
    auto content = real().read(file);
    if (content) held(content->size());
    return content;
}

Result<void> MeasuredFiles::writeNew(const std::filesystem::path& file, std::string_view content) {
    held(content.size());
    return real().writeNew(file, content);
}

Result<void> MeasuredFiles::append(const std::filesystem::path& file, std::string_view content) {
    held(content.size());
    return real().append(file, content);
}

Result<std::string> MeasuredFiles::readStart(const std::filesystem::path& file, std::size_t limit) {
    auto start = real().readStart(file, limit);
    if (start) held(start->size());
    return start;
}

Result<std::shared_ptr<const OpenFile>> MeasuredFiles::open(const std::filesystem::path& file) {
    auto opened = real().open(file);
    if (!opened) return opened;
    return std::make_shared<Opened>(std::move(*opened), largest_);
}

Result<void> MeasuredFiles::writeNewFrom(const std::filesystem::path& file, const ByteSource& content) {
    return real().writeNewFrom(file, [&](char* buffer, std::size_t size) {
        auto length = content(buffer, size);
        if (length) held(*length);
        return length;
    });
}

}  // namespace qs
