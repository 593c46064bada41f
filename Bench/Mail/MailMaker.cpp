#include "Mail/MailMaker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "Text/Base64.h"

namespace qs {

namespace {

constexpr int kWordsOfLanguage = 30'000, kOpenThreads = 400, kLongestThread = 40;
constexpr std::size_t kLineOfBase64 = 76;

// Syllables of which each language's words are made: not real ones, but with its letters and lengths.
struct Language {
    const char* name;
    std::vector<const char*> syllables;
    const char* blank;  // between words
};

const std::vector<Language>& languages() {
    static const std::vector<Language> all{
        {"en",
         {"the", "re", "ing", "port", "con", "al", "ment", "in", "er", "pro", "ti", "on", "ver",  "sta", "co", "com",
          "de",  "mo", "ter", "ex",   "per", "ly", "able", "un", "ma", "ri",  "so", "ac", "tion", "bud", "get"},
         " "},
        {"de",
         {"ge", "ver", "be", "ung", "lich", "ein", "aus",  "über", "schaft", "en",   "für",  "stell", "zu",
          "an", "grü", "ße", "mit", "ter",  "ren", "keit", "auf",  "trag",   "wirt", "rech", "nung"},
         " "},
        {"fr",
         {"é",  "tion", "ment", "con", "pré",  "ré",  "eur",  "sion", "par", "des", "çon", "où",
          "ai", "eau",  "ment", "fac", "ture", "bon", "jour", "mer",  "ci",  "à",   "ès"},
         " "},
        {"pl",
         {"prze", "nie", "ść", "owa", "czy", "się", "że", "ą", "dzie", "pra", "wo", "ty", "łó", "ko", "wi", "ny"},
         " "},
        {"ru",
         {"при", "вет", "ство", "ние", "пер", "да", "то", "раз", "го", "во", "ре", "ка", "мо", "ст", "ный", "ен"},
         " "},
        {"ja",
         {"会", "議", "明", "日", "の", "は", "です", "東", "京", "資", "料", "送", "り", "ます", "本", "社", "今",
          "年"},
         ""},
    };
    return all;
}

constexpr std::array<int, 20> kLanguageOfPeople{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 4, 5, 0};
constexpr std::array<const char*, 24> kFirstNames{
    "Ada",   "Ben",  "Chloé", "Dmitri", "Eva",   "Farid", "Grace", "Håkon",  "Ines",   "Jürgen", "Kaito", "Lena",
    "Marek", "Nora", "Olga",  "Paul",   "Quinn", "Rosa",  "Søren", "Tomasz", "Ursula", "Vera",   "Wen",   "Zoë"};
constexpr std::array<const char*, 8> kTypes{
    "application/pdf", "image/png",       "text/csv",      "application/zip",
    "image/jpeg",      "application/pdf", "text/calendar", "application/vnd.ms-excel"};
constexpr std::array<const char*, 8> kEndings{"pdf", "png", "csv", "zip", "jpg", "pdf", "ics", "xls"};

std::string dateText(double seconds) {
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm parts{};
    gmtime_r(&whole, &parts);
    std::array<char, 64> text{};
    (void)std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S +0000", &parts);
    return text.data();
}

std::string encodedWord(const std::string& text) {
    const bool isPlain =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
    return isPlain ? text : "=?utf-8?B?" + base64EncodedString(text) + "?=";
}

std::string html(const std::string& text) {
    std::string page =
        "<html><head><style>p { margin: 0 0 1em; font-family: sans-serif; color: #222 }</style></head><body>";
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        page += "<p class=\"text\" style=\"line-height:140%\">" + text.substr(from, end - from) + "</p>\n";
        from = end + 1;
    }
    return page + "<p><a href=\"https://www.example.com/unsubscribe\">Unsubscribe</a></p></body></html>\n";
}

}  // namespace

MailMaker::MailMaker(std::uint64_t seed, int count, double until, int days)
    : random_(seed), count_(count), until_(until), step_(days * 86'400.0 / std::max(count, 1)) {
    makeWords();
    makePeople();
}

int MailMaker::below(int end) { return static_cast<int>(random_() % static_cast<std::uint64_t>(std::max(end, 1))); }
double MailMaker::chance() { return static_cast<double>(random_() >> 11) * 0x1.0p-53; }
int MailMaker::rare(int end) {
    return std::min(end - 1, static_cast<int>(std::pow(static_cast<double>(end), chance())) - 1);
}

void MailMaker::makeWords() {
    for (const Language& language : languages()) {
        std::vector<std::string> words;
        for (int i = 0; i < kWordsOfLanguage; ++i) {
            std::string word;
            for (int part = 0, parts = 1 + (i > 60) + (i > 1500) + below(2); part < parts; ++part)
                word +=
                    language.syllables[static_cast<std::size_t>(below(static_cast<int>(language.syllables.size())))];
            words.push_back(std::move(word));
        }
        words_.push_back(std::move(words));
    }
}

void MailMaker::makePeople() {
    const int people = std::clamp(count_ / 50, 20, 5000);
    for (int i = 0; i < people; ++i) {
        Person person;
        person.language = kLanguageOfPeople[static_cast<std::size_t>(below(kLanguageOfPeople.size()))];
        std::string last = words_[0][static_cast<std::size_t>(2000 + below(20'000))];
        last[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(last[0])));
        person.name = std::string(kFirstNames[static_cast<std::size_t>(below(kFirstNames.size()))]) + " " + last;
        person.address =
            "p" + std::to_string(i) + "@" + words_[0][static_cast<std::size_t>(100 + below(300))] + ".example";
        people_.push_back(std::move(person));
    }
}

std::string MailMaker::sentence(int language) {
    const auto& words = words_[static_cast<std::size_t>(language)];
    std::string line;
    for (int i = 0, length = 4 + below(14); i < length; ++i) {
        if (i > 0) line += languages()[static_cast<std::size_t>(language)].blank;
        line += words[static_cast<std::size_t>(rare(kWordsOfLanguage))];
    }
    return line + (language == 5 ? "。" : ". ");
}

std::string MailMaker::text(int language, int bytes) {
    std::string text;
    while (static_cast<int>(text.size()) < bytes) {
        text += sentence(language);
        if (below(3) == 0) text += '\n';
    }
    return text + '\n';
}

std::string MailMaker::file(int bytes) {
    std::string content(static_cast<std::size_t>(bytes), '\0');
    for (char& c : content)
        c = static_cast<char>(random_());
    const std::string encoded = base64EncodedString(content);
    std::string lines;
    for (std::size_t at = 0; at < encoded.size(); at += kLineOfBase64)
        lines += encoded.substr(at, kLineOfBase64) + '\n';
    return lines;
}

// Two of three messages answer one of the threads that are still talked about.
MailMaker::Thread& MailMaker::thread(bool& isNew) {
    isNew = threads_.empty() || below(3) == 0;
    if (!isNew) return threads_[static_cast<std::size_t>(below(static_cast<int>(threads_.size())))];
    Thread fresh;
    fresh.language = person().language;
    fresh.subject = sentence(fresh.language);
    fresh.subject.resize(std::min<std::size_t>(fresh.subject.find_last_of(" .\xe3"), 90));
    while (!fresh.subject.empty() && (static_cast<unsigned char>(fresh.subject.back()) & 0x80) != 0 &&
           fresh.language != 5)
        fresh.subject.pop_back();
    if (threads_.size() < kOpenThreads) return threads_.emplace_back(std::move(fresh));
    Thread& old = threads_[static_cast<std::size_t>(below(kOpenThreads))];
    old = std::move(fresh);
    return old;
}

std::string MailMaker::headers(const Person& from, Thread& thread, bool isNew, int number) {
    const std::string id = std::to_string(number) + "." + std::to_string(random_() % 1'000'000'007) + "@" +
                           from.address.substr(from.address.find('@') + 1);
    const std::string date = dateText(until_ - step_ * (count_ - number));
    std::string text = "Return-Path: <" + from.address + ">\n";
    for (int hop = 0; hop < 3; ++hop)
        text += "Received: from mx" + std::to_string(below(40)) + ".example.net (mx.example.net [192.0.2." +
                std::to_string(below(250)) + "])\n\tby mail" + std::to_string(hop) +
                ".example.org (Postfix) with ESMTPS id " + std::to_string(random_() % 100'000'000) +
                "\n\tfor <ada@example.org>; " + date + "\n";
    text +=
        "DKIM-Signature: v=1; a=rsa-sha256; c=relaxed/relaxed; d=example.net; s=2026; h=from:to:subject:date;\n\tb=" +
        file(160);
    text += "Date: " + date + "\nFrom: " + encodedWord(from.name) + " <" + from.address +
            ">\nTo: Ada Lovelace <ada@example.org>";
    for (int i = below(4); i > 1; --i) {
        const Person& other = person();
        text += ",\n\t" + encodedWord(other.name) + " <" + other.address + ">";
    }
    text += "\nSubject: " + encodedWord((isNew ? "" : "Re: ") + thread.subject) + "\nMessage-ID: <" + id + ">\n";
    if (!isNew && !thread.ids.empty()) {
        text += "In-Reply-To: <" + thread.ids.back() + ">\nReferences:";
        for (const std::string& each : thread.ids)
            text += " <" + each + ">";
        text += '\n';
    }
    if (thread.ids.size() == kLongestThread) thread.ids.erase(thread.ids.begin() + 1);
    thread.ids.push_back(id);
    return text + "MIME-Version: 1.0\nX-Mailer: Letters 3.2\n";
}

MadeMail MailMaker::next() {
    MadeMail mail;
    const int number = made_++;
    mail.received = until_ - step_ * (count_ - number);
    mail.isSeen = below(10) != 0;
    const Person& from = person();
    bool isNew = false;
    Thread& about = thread(isNew);
    std::string& content = mail.content = headers(from, about, isNew, number);
    const std::string body = text(about.language, 200 + static_cast<int>(std::pow(chance(), 3) * 8000));
    const int kind = below(20);
    if (kind < 8) {
        content += "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" + body;
    } else if (kind < 11) {
        content += "Content-Type: text/html; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" + html(body);
    } else {
        const bool hasFile = kind >= 18;
        if (hasFile) content += "Content-Type: multipart/mixed; boundary=\"outer\"\n\n--outer\n";
        content += "Content-Type: multipart/alternative; boundary=\"inner\"\n\n--inner\n"
                   "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" +
                   body + "\n--inner\nContent-Type: text/html; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" +
                   html(body) + "\n--inner--\n";
        if (hasFile) {
            const auto type = static_cast<std::size_t>(below(kTypes.size()));
            content += std::string("\n--outer\nContent-Type: ") + kTypes[type] +
                       "\nContent-Disposition: attachment; filename=\"" +
                       words_[0][static_cast<std::size_t>(rare(kWordsOfLanguage))] + "-" + std::to_string(number) +
                       "." + kEndings[type] + "\"\nContent-Transfer-Encoding: base64\n\n" +
                       file(500 + static_cast<int>(std::pow(chance(), 4) * 100'000)) + "\n--outer--\n";
        }
    }
    mail.name = std::to_string(static_cast<std::int64_t>(mail.received)) + ".M" + std::to_string(number % 1'000'000) +
                "P1Q" + std::to_string(number) + "R1.bench:2," + (mail.isSeen ? "S" : "");
    return mail;
}

std::uint64_t makeMaildir(const std::filesystem::path& folder, MailMaker maker, int count) {
    for (const char* part : {"cur", "new", "tmp"})
        std::filesystem::create_directories(folder / part);
    std::uint64_t bytes = 0;
    for (int i = 0; i < count; ++i) {
        const MadeMail mail = maker.next();
        std::ofstream(folder / "cur" / mail.name, std::ios::binary) << mail.content;
        bytes += mail.content.size();
    }
    return bytes;
}

}  // namespace qs
