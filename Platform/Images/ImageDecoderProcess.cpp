// Both sides of the decoder process. It is told limits and size by its arguments (bytes, pixels, width, height; 0 for
// no size), gets the picture as its input, and answers a letter: 'I' with width and height as 32 bits each and the
// pixels, or 'E' with the error's code as 32 bits and its text.
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "Foundation/Log.h"
#include "Images/ImageDecoder.h"
#include "Process/ProgramOutput.h"

namespace qs {

namespace {

constexpr rlim_t kMostSeconds = 10;
constexpr std::size_t kHeadLength = 9, kPixelLength = 4;
constexpr rlim_t kMostMemory = rlim_t{1} << 30;

tl::unexpected<Error> decodingFailed(std::string description) {
    return failure(std::string(kImageErrorDomain), static_cast<int>(ImageError::Damaged), std::move(description));
}

std::int32_t numberAt(std::string_view answer, std::size_t at) {
    std::int32_t number = 0;
    std::memcpy(&number, answer.data() + at, sizeof number);
    return number;
}

Result<Image> imageFrom(std::string_view answer) {
    if (answer.size() >= 5 && answer[0] == 'E')
        return failure(std::string(kImageErrorDomain), numberAt(answer, 1), std::string(answer.substr(5)));
    if (answer.size() < kHeadLength || answer[0] != 'I') return decodingFailed("The decoder said nothing of use.");
    const ImageSize size{numberAt(answer, 1), numberAt(answer, 5)};
    auto image = Image::imageWithPixels(answer.substr(kHeadLength), size);
    if (!image) return decodingFailed("The decoder's picture is not whole.");
    return *image;
}

class ProcessImageDecoder : public ImageDecoder {
public:
    ProcessImageDecoder(std::filesystem::path program, TimeInterval longest)
        : program_(std::move(program)), longest_(longest) {}

    Result<Image> imageWithData(std::string_view data, const ImageLimits& limits,
                                std::optional<ImageSize> vectorSize) override {
        if (data.empty() || data.size() > limits.bytes) return Image::imageWithData(data, limits);
        const ImageSize size = vectorSize.value_or(ImageSize{});
        const auto answer =
            outputOfProgram({program_, std::to_string(limits.bytes), std::to_string(limits.pixels),
                             std::to_string(size.width), std::to_string(size.height)},
                            {.input = data,
                             .inheritsEnvironment = false,
                             .longest = longest_,
                             .mostOutput = kHeadLength + static_cast<std::size_t>(limits.pixels) * kPixelLength});
        if (answer) return imageFrom(*answer);
        if (answer.error().code == static_cast<int>(ProgramError::NotStarted))
            logError("The picture decoder can't be started: " + program_.string());
        return decodingFailed("The picture could not be decoded: " + answer.error().description);
    }

private:
    std::filesystem::path program_;
    TimeInterval longest_;
};

// Before anything of the picture is read. What the system refuses is left out: the bounds on memory and time remain.
void giveUpRights() {
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    ::unshare(CLONE_NEWUSER | CLONE_NEWNET);
    const auto bound = [](auto resource, rlim_t most) {
        const rlimit limit{most, most};
        ::setrlimit(resource, &limit);
    };
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose own tables are larger than any bound
    bound(RLIMIT_AS, kMostMemory);
#endif
    bound(RLIMIT_CPU, kMostSeconds);
    bound(RLIMIT_FSIZE, 0);
    bound(RLIMIT_CORE, 0);
}

std::string readInput(std::size_t most) {
    std::string data;
    std::array<char, 64 * 1024> buffer;
    while (data.size() <= most) {
        const ssize_t length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (length == 0) break;
        if (length < 0 && errno != EINTR) break;
        if (length > 0) data.append(buffer.data(), static_cast<std::size_t>(length));
    }
    return data;
}

bool writeOutput(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t length = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (length < 0 && errno != EINTR) return false;
        if (length > 0) bytes.remove_prefix(static_cast<std::size_t>(length));
    }
    return true;
}

std::string_view bytesOf(const std::int32_t& number) { return {reinterpret_cast<const char*>(&number), sizeof number}; }

}  // namespace

std::shared_ptr<ImageDecoder> ImageDecoder::inProcess(std::filesystem::path program, TimeInterval longest) {
    return std::make_shared<ProcessImageDecoder>(std::move(program), longest);
}

int ImageDecoder::run(int argumentCount, char** arguments) {
    giveUpRights();
    std::array<std::int64_t, 4> numbers{};
    if (argumentCount != 1 + static_cast<int>(numbers.size())) return 2;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::string_view text = arguments[i + 1];
        if (std::from_chars(text.data(), text.data() + text.size(), numbers[i]).ec != std::errc()) return 2;
    }
    const ImageLimits limits{.bytes = static_cast<std::size_t>(numbers[0]), .pixels = numbers[1]};
    std::optional<ImageSize> size;
    if (numbers[2] > 0) size = ImageSize{static_cast<int>(numbers[2]), static_cast<int>(numbers[3])};
    const auto image = Image::imageWithData(readInput(limits.bytes), limits, size);
    if (!image) {
        const std::int32_t code = image.error().code;
        return writeOutput("E") && writeOutput(bytesOf(code)) && writeOutput(image.error().description) ? 0 : 1;
    }
    const std::int32_t width = image->size().width, height = image->size().height;
    const bool done =
        writeOutput("I") && writeOutput(bytesOf(width)) && writeOutput(bytesOf(height)) && writeOutput(image->pixels());
    return done ? 0 : 1;
}

}  // namespace qs
