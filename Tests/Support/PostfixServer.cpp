#include "Support/PostfixServer.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Support/TestSocket.h"

namespace qs {

namespace {

namespace fs = std::filesystem;

constexpr const char* kMaster = "/usr/lib/postfix/sbin/master";
constexpr int kStarts = 5;

// Of version 3.7. Mail to x.example comes into one mailbox, a copy for each recipient; nothing ever leaves for
// elsewhere.
constexpr std::string_view kMain = R"(
compatibility_level = 3.6
queue_directory = @FOLDER@/queue
data_directory = @FOLDER@/data
daemon_directory = /usr/lib/postfix/sbin
command_directory = /usr/sbin
mail_owner = dovecot
setgid_group = postdrop
maillog_file = /dev/stdout
myhostname = mail.example
mydestination =
mynetworks =
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
smtpd_peername_lookup = no
alias_maps =
alias_database =
local_recipient_maps =
local_transport = error:not here
relay_transport = error:not here
default_transport = error:not here
virtual_mailbox_domains = x.example
virtual_mailbox_base = @FOLDER@/mail
virtual_mailbox_maps = static:all/
virtual_minimum_uid = 1
virtual_uid_maps = static:@UID@
virtual_gid_maps = static:@GID@
virtual_mailbox_limit = 0
message_size_limit = @SIZE@
smtputf8_enable = @UTF8@
smtpd_tls_security_level = may
smtpd_tls_cert_file = @FOLDER@/conf/certificate.pem
smtpd_tls_key_file = @FOLDER@/conf/key.pem
smtpd_tls_auth_only = yes
smtpd_sasl_auth_enable = yes
smtpd_sasl_type = dovecot
smtpd_sasl_path = @SASL@
smtpd_recipient_restrictions = check_recipient_access regexp:@FOLDER@/conf/answers, @WHO@
smtpd_error_sleep_time = 0
smtpd_soft_error_limit = 1000
smtpd_client_connection_count_limit = 0
)";

constexpr std::string_view kServices = R"(
127.0.0.1:@PORT@ inet n - n - - smtpd
127.0.0.1:@TLSPORT@ inet n - n - - smtpd -o smtpd_tls_wrappermode=yes
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
trace unix - - n - 0 bounce
tlsmgr unix - - n 1000? 1 tlsmgr
proxymap unix - - n - - proxymap
error unix - - n - - error
retry unix - - n - - error
virtual unix - n n - - virtual
anvil unix - - n - 1 anvil
postlog unix-dgram n - n - 1 postlogd
)";

// Dovecot's user keeps the queue and the mail: the servers reach each other's sockets without more.
void own(const fs::path& path, const char* group, fs::perms perms) {
    fs::create_directories(path);
    const passwd* user = ::getpwnam("dovecot");
    const struct group* members = ::getgrnam(group);
    if (!user || !members || ::chown(path.c_str(), user->pw_uid, members->gr_gid) != 0)
        throw std::runtime_error("could not hand over " + path.string());
    fs::permissions(path, perms);
}

std::string literal(std::string_view address) {
    std::string pattern;
    for (const char c : address)
        pattern += c == '.' || c == '+' ? std::string("\\") + c : std::string(1, c);
    return "/^" + pattern + "$/";
}

DovecotServer::Options withSignInFor(const fs::path& socket) {
    return {.settings = "service auth {\n  unix_listener " + socket.string() + " {\n    mode = 0660\n  }\n}"};
}

}  // namespace

std::string PostfixServer::whyNot() {
    if (!fs::exists(kMaster)) return "Postfix is not installed.";
    if (!DovecotServer::isInstalled()) return "Dovecot is not installed.";
    if (::geteuid() != 0) return "Postfix runs only where root starts the tests.";
    return {};
}

PostfixServer::PostfixServer() : PostfixServer(Options{}) {}

PostfixServer::PostfixServer(Options options)
    : dovecot_([this] {
          own(folder_.path(), "dovecot", fs::perms(0711));
          return withSignInFor(folder_ / "sign-in");
      }()) {
    for (int tries = 0; tries < kStarts; ++tries) {
        port_ = TestListener().port();
        tlsPort_ = TestListener().port();
        if (start(options)) return;
    }
    throw std::runtime_error("Postfix did not start: " + log());
}

void PostfixServer::restart(Options options) {
    process_.stop();
    if (!start(options)) throw std::runtime_error("Postfix did not start again: " + log());
}

void PostfixServer::writeConfiguration(const Options& options) const {
    const passwd* user = ::getpwnam("dovecot");
    const TestIdentity identity = authority().issue();
    std::string answers;
    for (const auto& [address, answer] : options.answers)
        answers += literal(address) + " " + answer + "\n";
    const std::map<std::string, std::string> values{
        {"@FOLDER@", folder_.path().string()},
        {"@UID@", std::to_string(user->pw_uid)},
        {"@GID@", std::to_string(user->pw_gid)},
        {"@SIZE@", std::to_string(options.sizeLimit)},
        {"@UTF8@", options.takesUtf8 ? "yes" : "no"},
        {"@SASL@", (folder_ / "sign-in").string()},
        {"@WHO@", options.wantsSignIn ? "permit_sasl_authenticated, reject" : "reject_unauth_destination"},
        {"@PORT@", std::to_string(port_)},
        {"@TLSPORT@", std::to_string(tlsPort_)}};
    folder_.write("conf/main.cf", filled(kMain, values));
    folder_.write("conf/master.cf", filled(kServices, values));
    folder_.write("conf/answers", answers);
    folder_.write("conf/certificate.pem", identity.certificate);
    folder_.write("conf/key.pem", identity.key);
}

bool PostfixServer::start(const Options& options) {
    writeConfiguration(options);
    fs::create_directories(folder_ / "queue/pid");
    for (const char* each :
         {"data", "mail", "queue/active", "queue/bounce", "queue/corrupt", "queue/defer", "queue/deferred",
          "queue/flush", "queue/hold", "queue/incoming", "queue/private", "queue/saved", "queue/trace"})
        own(folder_ / each, "dovecot", fs::perms(0700));
    own(folder_ / "queue/public", "postdrop", fs::perms(0710));
    own(folder_ / "queue/maildrop", "postdrop", fs::perms(0730));
    return process_.start(
        {.arguments = {kMaster, "-c", (folder_ / "conf").string(), "-s"}, .startedWords = "daemon started"});
}

std::vector<std::string> PostfixServer::received(std::string_view address) const {
    // The log comes through a process of its own. What stands behind a mark was written after all that came before.
    const std::string mark = "mark " + std::to_string(++marks_);
    const std::string note = "/usr/sbin/postlog -c " + (folder_ / "conf").string() + " " + mark + " 2>/dev/null";
    if (std::system(note.c_str()) != 0 || !process_.waitForLog(mark)) throw std::runtime_error("no log: " + log());
    // Each message that was taken has an id of the queue, which is told to be removed once it lies in its mailbox.
    const std::string words = ": message-id=", log = this->log();
    for (auto at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
        const auto begin = log.rfind(' ', at) + 1;
        if (!process_.waitForLog(log.substr(begin, at - begin) + ": removed")) break;
    }
    std::vector<std::string> mail;
    const fs::path folder = folder_ / "mail/all/new";
    if (!fs::exists(folder)) return mail;
    for (const auto& file : fs::directory_iterator(folder)) {
        std::ifstream stream(file.path(), std::ios::binary);
        std::string copy{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        const std::string own = "\nDelivered-To: " + std::string(address) + "\n";
        if (std::string_view(copy).substr(0, 1000).find(own) != std::string_view::npos) mail.push_back(std::move(copy));
    }
    return mail;
}

}  // namespace qs
