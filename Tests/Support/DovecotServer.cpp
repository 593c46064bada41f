#include "Support/DovecotServer.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <vector>

#include "Imap/ImapConnection.h"
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

// Of version 2.3. Wrong passwords are part of the tests, and nobody waits for them. The index of mailboxes is off since
// it knows changes by the second alone.
constexpr std::string_view kConfiguration = R"(
base_dir = @FOLDER@/run
state_dir = @FOLDER@/state
log_path = /dev/stderr
protocols = imap
listen = 127.0.0.1
default_internal_user = @USER@
default_internal_group = @GROUP@
default_login_user = @USER@
ssl = yes
ssl_cert = <@FOLDER@/certificate.pem
ssl_key = <@FOLDER@/key.pem
disable_plaintext_auth = no
auth_failure_delay = 0
auth_mechanisms = plain login
mail_max_userip_connections = 100
mail_fsync = never
mail_location = maildir:~/Maildir
mailbox_list_index = no
first_valid_uid = 1
first_valid_gid = 1
passdb {
  driver = passwd-file
  args = @FOLDER@/users
}
userdb {
  driver = static
  args = uid=@UID@ gid=@GID@ home=@FOLDER@/home/%u
}
namespace inbox {
  inbox = yes
  separator = /
  mailbox Drafts {
    special_use = \Drafts
    auto = subscribe
  }
  mailbox Junk {
    special_use = \Junk
    auto = subscribe
  }
  mailbox Sent {
    special_use = \Sent
    auto = subscribe
  }
  mailbox Trash {
    special_use = \Trash
    auto = subscribe
  }
  mailbox Archive {
    special_use = \Archive
    auto = create
  }
}
protocol imap {
  mail_plugins = imap_zlib
}
service anvil {
  chroot =
  unix_listener anvil-auth-penalty {
    mode = 0
  }
}
service imap-login {
  chroot =
  inet_listener imap {
    port = @PORT@
  }
  inet_listener imaps {
    port = @TLSPORT@
    ssl = yes
  }
}
)";

int freePort() { return TestListener().port(); }

}  // namespace

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

void DovecotServer::own(const fs::path& path) const {
    const passwd& user = serverUser();
    if (::geteuid() == 0 && ::chown(path.c_str(), user.pw_uid, user.pw_gid) != 0)
        throw std::runtime_error("could not hand over " + path.string());
}

void DovecotServer::writeConfiguration(const Options& options) {
    const passwd& user = serverUser();
    const TestIdentity identity = authority_.issue({.name = options.certificateName});
    std::string users;
    for (const auto& [each, password] : options.users)
        users += each + ":{PLAIN}" + password + "::::::\n";
    const std::string text = filled(kConfiguration, {{"@FOLDER@", folder_.path().string()},
                                                     {"@USER@", user.pw_name},
                                                     {"@GROUP@", ::getgrgid(user.pw_gid)->gr_name},
                                                     {"@UID@", std::to_string(user.pw_uid)},
                                                     {"@GID@", std::to_string(user.pw_gid)},
                                                     {"@PORT@", std::to_string(port_)},
                                                     {"@TLSPORT@", std::to_string(tlsPort_)}});
    std::string settings = options.settings;
    if (!options.tokenJudge.empty()) {
        own(folder_.write("oauth2", "introspection_mode = auth\nusername_attribute = email\nintrospection_url = " +
                                        options.tokenJudge + "\n"));
        settings +=
            "\nauth_mechanisms = plain xoauth2\npassdb {\n  driver = oauth2\n  mechanisms = xoauth2\n  args = " +
            (folder_ / "oauth2").string() + "\n}\n";
    }
    fs::create_directories(folder_ / "home");
    for (const fs::path& each :
         {folder_.path(), folder_ / "home", folder_.write("users", users),
          folder_.write("dovecot.conf", text + settings + "\n"), folder_.write("certificate.pem", identity.certificate),
          folder_.write("key.pem", identity.key)})
        own(each);
}

bool DovecotServer::start() {
    const passwd& user = serverUser();
    return process_.start({.arguments = {kProgram, "-F", "-c", (folder_ / "dovecot.conf").string()},
                           .startedWords = "starting up",
                           .user = user.pw_uid,
                           .group = user.pw_gid});
}

void DovecotServer::restart() {
    stop();
    if (!start()) throw std::runtime_error("dovecot did not start again: " + log());
}

std::unique_ptr<ImapConnection> DovecotServer::signIn(const std::string& user) const {
    ImapServer server;
    server.host = "127.0.0.1";
    server.port = port_;
    server.security = TransportSecurity::None;
    server.user = user;
    auto connection = std::make_unique<ImapConnection>(server);
    if (const auto opened = connection->open({ImapSecret::Kind::Password, options_.users.at(user)}); !opened)
        throw std::runtime_error(opened.error().description);
    return connection;
}

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
