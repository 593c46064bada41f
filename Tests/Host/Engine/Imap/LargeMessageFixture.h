// Messages that come and go in pieces, at a real server.
#pragma once

#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>

#include "Imap/MeddledFixture.h"
#include "Support/MeasuredFiles.h"

namespace qs {

inline constexpr std::size_t kPiece = 100'000;

// Of exactly that size.
inline std::string withSize(std::string text, std::size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    while (text.size() + 20 < size)
        text += std::to_string(100'000'000 + random() % 900'000'000) + "\r\n";
    return text + std::string(size - text.size() - 2, 'x') + "\r\n";
}

inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Everything below the folder that is no database, by name of file.
inline std::map<std::string, std::string> filesBelow(const std::filesystem::path& folder, const std::string& parent) {
    std::map<std::string, std::string> files;
    for (const auto& each : std::filesystem::recursive_directory_iterator(folder))
        if (each.is_regular_file() && each.path().parent_path().filename() == parent)
            files[each.path().filename()] = contentOf(each.path());
    return files;
}

class LargeMessageTest : public MeddledTest {
protected:
    EngineOptions options() override {
        EngineOptions options = MeddledTest::options();
        options.files = &disk_;
        options.imapPieceBytes = kPiece;
        return options;
    }
    static std::string large(const std::string& subject, std::size_t size) { return withSize(mail(subject, ""), size); }
    void deliverLarge(const std::string& subject, std::size_t size, const std::string& mailbox = "INBOX") {
        server_->deliver("ada", large(subject, size), mailbox);
    }
    bool isHere(const std::string& folder, const std::string& subject, const std::string& content) {
        return library().content(id(folder, subject)) == content;
    }
    std::map<std::string, std::string> leftInTmp() { return filesBelow(folder_ / "Mail/ada", "tmp"); }
    std::string contentThere(const std::string& mailbox, const std::string& subject) {
        std::string there;
        const auto done = other().fetch(uid(mailbox, subject), {.content = ImapFetch::Content::Whole},
                                        [&](ImapMessage message) { there = std::move(*message.content); });
        return done ? there : done.error().description;
    }

    MeasuredFiles disk_;
};

}  // namespace qs
