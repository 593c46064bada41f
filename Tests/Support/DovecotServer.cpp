#include "Support/DovecotServer.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Support/TestSocket.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "/usr/sbin/dovecot";
constexpr int kStarts = 5;

// Mail processes refuse to run as root; the server's own user is there with the package.
const passwd& serverUser() {
    const passwd* user = ::geteuid() == 0 ? ::getpwnam("dovecot") : ::getpwuid(::geteuid());
    if (!user) throw std::runtime_error("no user to run dovecot as");
    return *user;
}

int freePort() { return TestListener().port(); }

}  // namespace

// What the server writes, kept by a thread until the last of its processes is gone.
struct DovecotServer::Log {
    explicit Log(int pipe) : descriptor(pipe) {}
    ~Log() {
        if (reader.joinable()) reader.join();
        ::close(descriptor);
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    bool readPiece() {
        std::array<char, 4096> piece;
        const auto length = ::read(descriptor, piece.data(), piece.size());
        if (length <= 0) return false;
        const std::lock_guard guard(lock);
        text.append(piece.data(), static_cast<std::size_t>(length));
        return true;
    }
    std::string soFar() const {
        const std::lock_guard guard(lock);
        return text;
    }
    // Its listeners are open before it says so. False when it ended instead.
    bool waitForStart() {
        while (soFar().find("starting up") == std::string::npos)
            if (!readPiece()) return false;
        reader = std::thread([this] {
            while (readPiece()) {
            }
        });
        return true;
    }

    const int descriptor;
    mutable std::mutex lock;
    std::string text;
    std::thread reader;
};

bool DovecotServer::isInstalled() { return fs::exists(kProgram) && fs::exists("/usr/lib/dovecot/imap"); }

DovecotServer::DovecotServer() : DovecotServer(Options{}) {}

DovecotServer::DovecotServer(Options options) : options_(std::move(options)) {
    if (!isInstalled()) throw std::runtime_error("dovecot is not installed");
    // A port that was free may be taken by the time it is wanted.
    for (int tries = 0; tries < kStarts; ++tries) {
        port_ = freePort();
        tlsPort_ = freePort();
        writeConfiguration(options_);
        if (start()) return;
    }
    throw std::runtime_error("dovecot did not start: " + log());
}

DovecotServer::~DovecotServer() { stop(); }

void DovecotServer::own(const fs::path& path) const {
    const passwd& user = serverUser();
    if (::geteuid() == 0 && ::chown(path.c_str(), user.pw_uid, user.pw_gid) != 0)
        throw std::runtime_error("could not hand over " + path.string());
}

void DovecotServer::writeConfiguration(const Options& options) {
    const passwd& user = serverUser();
    const std::string name = user.pw_name, group = ::getgrgid(user.pw_gid)->gr_name, folder = folder_.path().string();
    const TestIdentity identity = authority_.issue({.name = options.certificateName});
    std::string users;
    for (const auto& [each, password] : options.users)
        users += each + ":{PLAIN}" + password + "::::::\n";
    const std::string text = "base_dir = " + folder + "/run\nstate_dir = " + folder + "/state\n" +
                             "log_path = /dev/stderr\nprotocols = imap\nlisten = 127.0.0.1\nmail_fsync = never\n"
                             "default_internal_user = " +
                             name + "\ndefault_internal_group = " + group + "\ndefault_login_user = " + name +
                             "\nssl = yes\nssl_cert = <" + folder + "/certificate.pem\nssl_key = <" + folder +
                             "/key.pem\n"
                             // Wrong passwords are part of the tests; nobody waits for them.
                             "disable_plaintext_auth = no\nauth_failure_delay = 0\nauth_mechanisms = plain login\n"
                             "mail_max_userip_connections = 100\n"
                             "passdb {\n  driver = passwd-file\n  args = " +
                             folder +
                             "/users\n}\n"
                             "userdb {\n  driver = static\n  args = uid=" +
                             std::to_string(user.pw_uid) + " gid=" + std::to_string(user.pw_gid) + " home=" + folder +
                             "/home/%u\n}\n"
                             "first_valid_uid = 1\nfirst_valid_gid = 1\nmail_location = maildir:~/Maildir\n"
                             "namespace inbox {\n  inbox = yes\n  separator = /\n"
                             "  mailbox Drafts {\n    special_use = \\Drafts\n    auto = subscribe\n  }\n"
                             "  mailbox Junk {\n    special_use = \\Junk\n    auto = subscribe\n  }\n"
                             "  mailbox Sent {\n    special_use = \\Sent\n    auto = subscribe\n  }\n"
                             "  mailbox Trash {\n    special_use = \\Trash\n    auto = subscribe\n  }\n"
                             "  mailbox Archive {\n    special_use = \\Archive\n    auto = create\n  }\n}\n"
                             "protocol imap {\n  mail_plugins = imap_zlib\n}\n"
                             "service anvil {\n  chroot =\n  unix_listener anvil-auth-penalty {\n    mode = 0\n  }\n}\n"
                             "service imap-login {\n  chroot =\n"
                             "  inet_listener imap {\n    port = " +
                             std::to_string(port_) +
                             "\n  }\n"
                             "  inet_listener imaps {\n    port = " +
                             std::to_string(tlsPort_) + "\n    ssl = yes\n  }\n}\n" + options.settings + "\n";
    fs::create_directories(folder_ / "home");
    for (const fs::path& each :
         {folder_.path(), folder_ / "home", folder_.write("users", users), folder_.write("dovecot.conf", text),
          folder_.write("certificate.pem", identity.certificate), folder_.write("key.pem", identity.key)})
        own(each);
}

bool DovecotServer::start() {
    const passwd& user = serverUser();
    const std::string configuration = (folder_ / "dovecot.conf").string();
    std::array<int, 2> output{};
    if (::pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ == 0) {
        if (::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(user.pw_gid) != 0 || ::setuid(user.pw_uid) != 0))
            ::_exit(126);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that crashes leaves no server behind
        ::dup2(output[1], 2);
        if (const int nowhere = ::open("/dev/null", O_RDWR); nowhere >= 0)
            for (const int stream : {0, 1})
                ::dup2(nowhere, stream);
        ::execl(kProgram, kProgram, "-F", "-c", configuration.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(output[1]);
    log_ = std::make_shared<Log>(output[0]);
    if (log_->waitForStart()) return true;
    stop();
    return false;
}

void DovecotServer::stop() {
    if (process_ <= 0) return;
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

void DovecotServer::restart() {
    stop();
    if (!start()) throw std::runtime_error("dovecot did not start again: " + log());
}

std::string DovecotServer::log() const { return log_ ? log_->soFar() : std::string(); }

fs::path DovecotServer::maildir(const std::string& user) const { return folder_ / ("home/" + user) / "Maildir"; }

void DovecotServer::deliver(const std::string& user, std::string_view message, const std::string& mailbox,
                            const std::string& flags) {
    fs::path folder = maildir(user);
    std::vector<fs::path> folders{folder.parent_path(), folder};
    if (mailbox != "INBOX") folders.push_back(folder = folder / ("." + mailbox));
    for (const char* part : {"cur", "new", "tmp"})
        folders.push_back(folder / part);
    for (const fs::path& each : folders)
        if (fs::create_directory(each)) own(each);
    // Ordered names: the server gives uids in their order.
    ++delivered_;
    const std::string name = std::to_string(1'700'000'000 + delivered_) + ".M1P" + std::to_string(delivered_) + ".test";
    const fs::path written = folder / "tmp" / name;
    std::ofstream(written, std::ios::binary) << message;
    own(written);
    fs::rename(written, flags.empty() ? folder / "new" / name : folder / "cur" / (name + ":2," + flags));
}

}  // namespace qs
