#include <fcntl.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Adapters.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "MessageBus/BusConnection.h"
#include "RunningApplications/RunningApplications.h"

namespace qs {

namespace {

constexpr std::chrono::seconds kAnswerTime(2);

tl::unexpected<Error> alreadyRunning(std::string_view identifier) {
    return failure("RunningApplications", EEXIST, stringWithFormat("“%@” runs already.", {identifier}));
}

std::unique_ptr<sdbus::IConnection> sessionBus() {
    try {
        return connectToSessionBus();
    } catch (const sdbus::Error&) {
        return nullptr;
    }
}

class BusAnnouncement : public ApplicationAnnouncement {
public:
    explicit BusAnnouncement(std::unique_ptr<sdbus::IConnection> connection)
        : connection_(std::move(connection)), thread_([this] { answer(); }) {}
    ~BusAnnouncement() override {
        connection_->leaveEventLoop();
        thread_.join();
    }

private:
    // Somebody must take in what the bus sends to the name.
    void answer() {
        try {
            connection_->enterEventLoop();
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("The session bus went away: %@", {error.getMessage()}));
        }
    }

    std::unique_ptr<sdbus::IConnection> connection_;
    std::thread thread_;
};

// Where the locked files are: the user's runtime folder, or a private one among the temporary files. Empty if neither
// can be had.
std::filesystem::path lockFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
    const std::filesystem::path folder = runtime && *runtime == '/'
                                             ? std::filesystem::path(runtime) / "quillstead"
                                             : std::filesystem::path("/tmp/quillstead-" + std::to_string(::getuid()));
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return {};
    struct stat facts {};
    // Somebody else may have put a folder of that name there.
    const bool isOurs = ::lstat(folder.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == ::getuid() &&
                        (facts.st_mode & 077) == 0;
    return isOurs ? folder : std::filesystem::path();
}

class LockFile : public ApplicationAnnouncement {
public:
    explicit LockFile(const std::filesystem::path& file, int flags)
        : descriptor_(::open(file.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0600)) {}
    ~LockFile() override {
        if (descriptor_ >= 0) ::close(descriptor_);  // which unlocks it; the file stays, or two could lock two files
    }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    bool lock() {
        struct flock whole = wholeFile();
        return ::fcntl(descriptor_, F_OFD_SETLK, &whole) == 0;
    }
    bool isLockedByAnother() const {
        struct flock whole = wholeFile();
        return ::fcntl(descriptor_, F_OFD_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
    }
    bool writeProcess() {
        const std::string text = std::to_string(::getpid());
        return ::ftruncate(descriptor_, 0) == 0 &&
               ::pwrite(descriptor_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    }
    int readProcess() const {
        std::array<char, 16> text{};
        const ssize_t length = ::pread(descriptor_, text.data(), text.size(), 0);
        int process = 0;
        if (length > 0) std::from_chars(text.data(), text.data() + length, process);
        return process;
    }

private:
    static struct flock wholeFile() {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        return lock;
    }
    int descriptor_;
};

// A well-known name has two parts at least, of letters, digits, "_" and "-".
bool isName(std::string_view identifier) {
    return identifier.find('.') != std::string_view::npos &&
           identifier.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.") ==
               std::string_view::npos;
}

class SessionBusRunningApplications : public RunningApplications {
public:
    std::vector<RunningApplication> runningApplicationsWithBundleIdentifier(std::string_view identifier) override {
        if (!isName(identifier)) return {};
        if (const auto bus = sessionBus()) return onBus(*bus, std::string(identifier));
        const auto folder = lockFolder();
        if (folder.empty()) return {};
        const LockFile file(folder / identifier, O_RDWR);
        if (!file.isOpen() || !file.isLockedByAnother()) return {};
        return {{.processIdentifier = file.readProcess()}};
    }

    Result<std::unique_ptr<ApplicationAnnouncement>> announce(std::string_view identifier) override {
        if (!isName(identifier))
            return failure("RunningApplications", EINVAL, stringWithFormat("“%@” is no identifier.", {identifier}));
        if (auto bus = sessionBus()) return announceOnBus(std::move(bus), identifier);
        const auto folder = lockFolder();
        if (folder.empty())
            return failure("RunningApplications", EACCES, "There is neither a session bus nor a runtime folder.");
        auto file = std::make_unique<LockFile>(folder / identifier, O_RDWR | O_CREAT);
        if (!file->isOpen() || !file->lock()) return alreadyRunning(identifier);
        if (!file->writeProcess())
            return failure("RunningApplications", errno, "The runtime folder cannot be written to.");
        return file;
    }

private:
    static std::vector<RunningApplication> onBus(sdbus::IConnection& bus, const std::string& identifier) {
        try {
            const auto daemon = sdbus::createProxy(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus");
            std::uint32_t process = 0;
            daemon->callMethod("GetConnectionUnixProcessID")
                .onInterface("org.freedesktop.DBus")
                .withTimeout(kAnswerTime)
                .withArguments(identifier)
                .storeResultsTo(process);
            return {{.processIdentifier = static_cast<int>(process)}};
        } catch (const sdbus::Error&) {
            return {};  // nobody owns the name
        }
    }

    static Result<std::unique_ptr<ApplicationAnnouncement>> announceOnBus(std::unique_ptr<sdbus::IConnection> bus,
                                                                          std::string_view identifier) {
        try {
            bus->requestName(std::string(identifier));
        } catch (const sdbus::Error&) {
            return alreadyRunning(identifier);
        }
        return std::make_unique<BusAnnouncement>(std::move(bus));
    }
};

}  // namespace

std::shared_ptr<RunningApplications> makeRunningApplications() {
    return std::make_shared<SessionBusRunningApplications>();
}

}  // namespace qs
