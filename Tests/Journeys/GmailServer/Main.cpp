// Runs a GmailServer (Tests/Support) until its input ends. Says "port <number>", then answers a line for each line that
// it reads, whose words are parted by tabs:
//
//     create   <mailbox>                  ok
//     deliver  <subject> <labels> [<Message-Id answered>]    the message's number; labels are parted by commas
//     places   <number>                   the mailboxes that show it, parted by commas
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "Support/GmailServer.h"

namespace {

std::vector<std::string> parted(const std::string& text, char by) {
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == by)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::string mail(const std::string& subject, const std::string& answered) {
    std::string id = subject;
    for (char& c : id)
        if (c == ' ') c = '-';
    return "From: Grace Hopper <grace@example.net>\r\nTo: Ada <ada@example.org>\r\nDate: Mon, 23 Nov 2026 09:00:00 "
           "+0000\r\nMessage-Id: <" +
           id + "@example.net>\r\n" + (answered.empty() ? "" : "In-Reply-To: <" + answered + ">\r\n") +
           "Subject: " + subject + "\r\n\r\nThe text of “" + subject + "”.\r\n";
}

std::string answerTo(qs::GmailServer& server, const std::vector<std::string>& words) {
    if (words[0] == "create" && words.size() == 2) {
        server.create(words[1]);
        return "ok";
    }
    if (words[0] == "deliver" && words.size() >= 3) {
        const auto labels = parted(words[2], ',');
        return std::to_string(server.deliver(mail(words[1], words.size() > 3 ? words[3] : std::string()),
                                             {labels.begin(), labels.end()}));
    }
    if (words[0] == "places" && words.size() == 2) {
        std::string places;
        for (const std::string& mailbox : server.mailboxesOf(std::stoull(words[1])))
            places += (places.empty() ? "" : ",") + mailbox;
        return places;
    }
    return "not understood";
}

}  // namespace

int main() {
    qs::GmailServer server;
    std::cout << "port " << server.port() << std::endl;
    for (std::string line; std::getline(std::cin, line);)
        std::cout << answerTo(server, parted(line, '\t')) << std::endl;
    for (const std::string& complaint : server.complaints())
        std::cerr << complaint << "\n";
    return server.complaints().empty() ? 0 : 1;
}
