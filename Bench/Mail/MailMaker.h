// Makes believable mail for benchmarks, the same for the same seed: people who write to each other in several
// languages, threads with their References, plain text, HTML and both, files, lists and notices by machines; 7 to 8 kB
// each on average. Words come with the frequencies of a language, so that searches find much or little as in real mail.
#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct MadeMail {
    std::string name;     // for a Maildir, with the flags: "1600000000.M5P1Q1R1.box:2,S"
    std::string content;  // lines end with \n, as in a Maildir
    double received = 0;  // seconds since 1970
    bool isSeen = false;
};

class MailMaker {
public:
    // The messages came at even steps before `until`, over `days` days; one after the other, oldest first.
    MailMaker(std::uint64_t seed, int count, double until, int days = 1500);

    MadeMail next();

private:
    struct Thread {
        std::string subject;
        int language = 0;
        std::vector<std::string> ids;
    };
    struct Person {
        std::string name, address;
        int language = 0;
    };
    int below(int end);
    double chance();
    int rare(int end);  // small numbers much more often than large ones
    void makePeople();
    void makeWords();
    const Person& person() { return people_[static_cast<std::size_t>(rare(static_cast<int>(people_.size())))]; }
    Thread& thread(bool& isNew);
    std::string sentence(int language);
    std::string text(int language, int bytes);
    std::string file(int bytes);
    std::string headers(const Person& from, Thread& thread, bool isNew, int number);

    std::mt19937_64 random_;
    const int count_;
    const double until_, step_;
    int made_ = 0;
    std::vector<Person> people_;
    std::vector<std::vector<std::string>> words_;  // by language, the frequent ones first
    std::vector<Thread> threads_;
};

// Writes the messages into cur/ of the Maildir, which is made. Answers their bytes.
std::uint64_t makeMaildir(const std::filesystem::path& folder, MailMaker maker, int count);

}  // namespace qs
