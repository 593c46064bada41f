#include "BackendFixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>
#include <stdexcept>

#include "Foundation/FileSystem.h"
#include "Foundation/Json.h"
#include "Support/TestSocket.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/Escapes.h"

namespace qs {

std::unique_ptr<TestConnection> connectTo(int port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto connection = std::make_unique<TestConnection>(descriptor);
    const void* plain = &address;
    if (::connect(descriptor, static_cast<const sockaddr*>(plain), sizeof address) != 0) connection->hangUp();
    return connection;
}

Reply askOver(TestConnection& connection, const std::string& request) {
    Reply reply;
    if (!connection.write(request)) return reply;
    int status = 0;
    for (auto line = connection.readLine(); line != "\r\n"; line = connection.readLine()) {
        if (!line) return {};
        reply.head += *line;
        const auto colon = line->find(':');
        if (status == 0)
            std::from_chars(line->data() + line->find(' ') + 1, line->data() + line->size(), status);
        else if (colon != std::string::npos)
            reply.headers[asciiLowered(line->substr(0, colon))] = trimmedAscii(line->substr(colon + 1));
    }
    std::size_t length = 0;
    const std::string& text = reply.headers["content-length"];
    std::from_chars(text.data(), text.data() + text.size(), length);
    if (auto body = connection.read(length)) {
        reply.body = std::move(*body);
        reply.status = status;
    }
    return reply;
}

std::string requestOf(const Question& question) {
    std::string request = question.method + " " + question.path + " HTTP/1.1\r\nHost: backend.example\r\n";
    for (const auto& [name, value] : question.headers)
        request += name + ": " + value + "\r\n";
    if (!question.body.empty() || question.method == "POST")
        request += "Content-Length: " + std::to_string(question.body.size()) + "\r\n";
    return request + "\r\n" + question.body;
}

Value Reply::json() const { return parseJson(body).value_or(Value()); }

BackendFixture::BackendFixture() : configuration_(demoBackendConfiguration(folder_.path())) {}

BackendFixture::~BackendFixture() { server_.reset(); }

void BackendFixture::start() {
    auto started = BackendServer::start(configuration_, FileSystem::real(),
                                        {.cost = PasswordHasher::Cost::Least, .imageDecoder = QS_IMAGE_DECODER});
    if (!started) throw std::runtime_error(started.error().description);
    server_ = std::move(*started);
}

void BackendFixture::stop() {
    bool isDone = false;
    server_->stop([&] { isDone = true; });
    loop_->advance(10);
    EXPECT_TRUE(isDone);
    server_.reset();
}

void BackendFixture::restart() {
    stop();
    start();
}

void BackendFixture::jump(TimeInterval seconds) {
    constexpr TimeInterval hour = 3600;
    loop_->setClock(loop_->now() + (seconds - hour));
    loop_->advance(hour);
}

Reply BackendFixture::ask(const Question& question) {
    Question last = question;
    last.headers.emplace_back("Connection", "close");
    const int port = question.port != 0 ? question.port : server_->port();
    Reply reply;
    bool isDone = false;
    loop_->postToGlobalQueue([&] {
        reply = askOver(*connectTo(port), requestOf(last));
        loop_->post([&] { isDone = true; });
    });
    loop_->runUntil([&] { return isDone; });
    return reply;
}

std::vector<std::pair<std::string, std::string>> BackendFixture::signedBy(const Person& person) {
    return {{"Authorization", "Basic " + base64EncodedString(person.email + ":" + person.password)}};
}

Reply BackendFixture::getAs(const Person& person, const std::string& path) {
    return ask({.path = path, .headers = signedBy(person)});
}

Reply BackendFixture::postAs(const Person& person, const std::string& path, const std::string& body) {
    return ask({.method = "POST", .path = path, .body = body, .headers = signedBy(person)});
}

void BackendFixture::makeAccount(const Person& person) {
    const std::string link = signUp(person);
    EXPECT_EQ(post("/confirm", "token=" + tokenIn(link)).status, 200) << link;
}

std::string BackendFixture::signUp(const Person& person) {
    EXPECT_EQ(post("/api/v1/addUser",
                   "email=" + urlEncodedString(person.email) + "&password=" + urlEncodedString(person.password))
                  .status,
              200);
    const auto letters = takeLetters();
    EXPECT_EQ(letters.size(), 1u);
    return letters.empty() ? std::string() : linkIn(letters.front(), "/confirm");
}

std::vector<std::string> BackendFixture::takeLetters() {
    loop_->runUntilIdle();
    std::vector<std::string> letters;
    for (const FileInfo& file : FileSystem::real().list(folder_ / "letters/new").value_or(std::vector<FileInfo>())) {
        letters.push_back(FileSystem::real().read(file.path).value_or(""));
        (void)FileSystem::real().remove(file.path);
    }
    return letters;
}

std::string BackendFixture::linkIn(const std::string& letter, const std::string& path) {
    const auto at = letter.find(path + "?");
    if (at == std::string::npos) return {};
    return letter.substr(at, letter.find_first_of("\r\n", at) - at);
}

std::string BackendFixture::tokenIn(const std::string& link) { return link.substr(link.find('=') + 1); }

}  // namespace qs
