#include "Dns/ServiceRecords.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

std::string number(int value) { return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)}; }

std::string name(std::initializer_list<std::string> labels) {
    std::string text;
    for (const std::string& label : labels)
        text += static_cast<char>(label.size()) + label;
    return text + '\0';
}

// An answer to the question after _imaps._tcp.example.org, with these records' data.
std::string answer(const std::vector<std::string>& records, int type = 33) {
    const std::string asked = name({"_imaps", "_tcp", "example", "org"});
    std::string text = number(7) + number(0x8180) + number(1) + number(static_cast<int>(records.size())) + number(0) +
                       number(0) + asked + number(33) + number(1);
    for (const std::string& data : records)
        text +=
            asked + number(type) + number(1) + number(0) + number(60) + number(static_cast<int>(data.size())) + data;
    return text;
}

std::string service(int priority, int weight, int port, const std::string& host) {
    return number(priority) + number(weight) + number(port) + host;
}

TEST(ServiceRecords, BestFirst) {
    const auto found = serviceRecordsIn(answer({service(20, 0, 993, name({"backup", "example", "org"})),
                                                service(10, 1, 993, name({"small", "example", "org"})),
                                                service(10, 5, 1993, name({"large", "example", "org"}))}));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].host, "large.example.org");
    EXPECT_EQ(found[0].port, 1993);
    EXPECT_EQ(found[1].host, "small.example.org");
    EXPECT_EQ(found[2].host, "backup.example.org");
}

TEST(ServiceRecords, BadAnswersGiveNothing) {
    const std::string good = answer({service(1, 1, 993, name({"a", "example"}))});
    struct Case {
        const char* why;
        std::string bytes;
    };
    for (const Case& c : {Case{"empty", ""}, Case{"half a header", good.substr(0, 7)},
                          Case{"a lone dot says no", answer({service(0, 0, 0, name({}))})},
                          Case{"no port", answer({service(1, 1, 0, name({"a", "example"}))})},
                          Case{"data too short", answer({number(1) + number(1)})},
                          Case{"a name that points at itself", answer({service(1, 1, 993, "\xC0\x44")}).substr(0, 60)},
                          Case{"another type", answer({service(1, 1, 993, name({"a", "example"}))}, 16)}})
        EXPECT_TRUE(serviceRecordsIn(c.bytes).empty()) << c.why;
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_TRUE(serviceRecordsIn(good.substr(0, length)).empty()) << "cut at " << length;
}

}  // namespace
}  // namespace qs
