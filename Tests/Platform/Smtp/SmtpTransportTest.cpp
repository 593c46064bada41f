// A message on its way to an outgoing server: what is handed over, and what each answer means.
#include <optional>

#include "SmtpTransportTest.h"
#include "Support/ScriptedServer.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Kind = SmtpOutcome::Kind;

TEST_F(SmtpTransport, SendsToAddressesInAllAlphabetsWhereTheServerTakesThem) {
    const std::string content = "To: jörg@x.example\r\nSubject: s\r\n\r\nx\r\n";
    for (const bool offersUtf8 : {true, false}) {
        const SmtpEnvelope envelope{"sam@example.org", {"jörg@x.example", "b@x.example"}, SizedSource(content)};
        RecordingSmtpServer server({.offersUtf8 = offersUtf8});
        const SmtpOutcome outcome = sendOverSmtp(account(server.port(), TransportSecurity::None), envelope,
                                                 {.beforeFinalDot = [](const auto&) { return true; }});
        if (offersUtf8) {
            EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
            EXPECT_THAT(server.commands(), ::testing::Contains(AllOf(HasSubstr("MAIL FROM:"), HasSubstr("SMTPUTF8"))));
            ASSERT_EQ(server.received().size(), 1u);
            EXPECT_EQ(server.received()[0].to, envelope.to);
        } else {
            EXPECT_EQ(outcome.kind, Kind::Refused) << "nothing half, and no second attempt";
            EXPECT_THAT(outcome.answer, HasSubstr("before the “@”"));
            EXPECT_THAT(server.received(), IsEmpty());
        }
    }
}

TEST_F(SmtpTransport, NotesTheEndBeforeItLeaves) {
    RecordingSmtpServer server;
    canNote_ = false;
    const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
    EXPECT_EQ(outcome.kind, Kind::Temporary);
    EXPECT_THAT(outcome.answer, HasSubstr("could not be noted"));
    EXPECT_EQ(dots_, 1);
    EXPECT_THAT(server.received(), IsEmpty());

    canNote_ = true;
    server.add({.stage = SmtpStage::Recipient, .match = "b@x", .reply = "550 5.1.1 nobody"});
    EXPECT_EQ(send(account(server.port(), TransportSecurity::None)).kind, Kind::Accepted);
    EXPECT_EQ(refused_.forGood["b@x.example"], "The server does not take mail for b@x.example: 550 5.1.1 nobody.");
    EXPECT_EQ(server.received().size(), 1u);
}

// A message that is made while it is read, in lines that begin with a dot now and then.
SizedSource madeMessage(std::uint64_t size, std::size_t& largest) {
    const auto made = [size, place = std::uint64_t{0}, &largest](char* buffer, std::size_t room) mutable {
        constexpr std::string_view kLine = ".Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do\r\n";
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(room, size - place));
        for (std::size_t i = 0; i < length; ++i, ++place)
            buffer[i] = place + 2 >= size ? "\r\n"[place + 2 - size] : kLine[place % kLine.size()];
        largest = std::max(largest, length);
        return Result<std::size_t>(length);
    };
    return {size, made};
}

TEST_F(SmtpTransport, SendsInPiecesWhatIsLarge) {
    constexpr std::uint64_t kSize = 40'000'000;
    RecordingSmtpServer server;
    std::size_t largest = 0, unused = 0;
    const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None), madeMessage(kSize, largest));
    EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
    EXPECT_LE(largest, 1u << 20) << "that much is held at once";
    ASSERT_EQ(server.received().size(), 1u);
    EXPECT_TRUE(server.received()[0].content == startOf(madeMessage(kSize, unused).read, kSize).value());
    EXPECT_THAT(server.commands(), ::testing::Contains(HasSubstr("SIZE=40000000")));
    EXPECT_THAT(server.violations(), IsEmpty());
}

TEST_F(SmtpTransport, AMessageBeyondTheServersLimitIsRefusedWithTheReason) {
    // Whether the server says no itself, or would wait for all of it.
    for (const char* reply : {"552 5.3.4 too big", "250 ok"}) {
        RecordingSmtpServer server;
        server.add({.stage = SmtpStage::Hello, .reply = "250-test.example\r\n250 SIZE 2500000"});
        server.add({.stage = SmtpStage::Sender, .reply = reply});
        std::size_t largest = 0;
        const SmtpOutcome outcome =
            send(account(server.port(), TransportSecurity::None), madeMessage(2'570'000, largest));
        EXPECT_EQ(outcome.kind, Kind::Refused);
        EXPECT_EQ(outcome.answer,
                  "The server 127.0.0.1 takes no messages of more than 2.5 MB, and this one has 2.6 MB, so nothing was "
                  "sent.");
        EXPECT_EQ(dots_, 0);
        EXPECT_THAT(server.received(), IsEmpty());
        server.clearRules();
        EXPECT_EQ(send(account(server.port(), TransportSecurity::None), madeMessage(2'570'000, largest)).kind,
                  Kind::Accepted);
        dots_ = 0;
    }
}

TEST_F(SmtpTransport, AMessageThatBreaksOffWhileItIsReadIsNotSent) {
    for (const bool isFault : {true, false}) {
        RecordingSmtpServer server;
        const std::string start(300'000, 'x');
        const ByteSource rest = [&](char*, std::size_t) -> Result<std::size_t> {
            if (isFault) return failure("test", 1, "The disk reported a fault.");
            return std::size_t{0};
        };
        const SmtpOutcome outcome =
            send(account(server.port(), TransportSecurity::None), {start.size() + 1, sourceOf(start, rest)});
        EXPECT_EQ(outcome.kind, Kind::Temporary);
        EXPECT_EQ(outcome.answer, std::string("The message can't be read, so nothing was sent: ") +
                                      (isFault ? "The disk reported a fault." : "It ends too early."));
        EXPECT_EQ(dots_, 0);
        EXPECT_THAT(server.received(), IsEmpty());
    }
}

TEST_F(SmtpTransport, CanBeBrokenOff) {
    RecordingSmtpServer server;
    server.add({.stage = SmtpStage::Sender, .stalls = true});
    cancelled_ = true;
    EXPECT_EQ(send(account(server.port(), TransportSecurity::None)).kind, Kind::Temporary);
    EXPECT_THAT(server.received(), IsEmpty());
}

TEST_F(SmtpTransport, OnlyAWholeAnswerEndsTheDoubt) {
    struct Case {
        const char* why;
        const char* afterDot;
        Kind kind;
    };
    for (const Case& c :
         {Case{"silence", "", Kind::InDoubt}, Case{"half a code", "25", Kind::InDoubt},
          Case{"half a line", "250 2.0", Kind::InDoubt}, Case{"half an answer", "250-first\r\n", Kind::InDoubt},
          Case{"half a refusal", "554-first\r\n", Kind::InDoubt}, Case{"rubbish", "hello?\r\n", Kind::InDoubt},
          Case{"yes", "250 ok\r\n", Kind::Accepted}, Case{"yes in two lines", "250-a\r\n250 b\r\n", Kind::Accepted},
          Case{"no", "554 no\r\n", Kind::Refused}, Case{"not now", "451 no\r\n", Kind::Temporary},
          Case{"something else", "354 go on\r\n", Kind::InDoubt}}) {
        ScriptedServer server;
        server.script()
            .say("220 hello")
            .expect("EHLO")
            .say("250 x")
            .expect("MAIL")
            .say("250 ok")
            .expect("RCPT")
            .say("250 ok")
            .expect("RCPT")
            .say("250 ok")
            .expect("DATA")
            .say("354 go")
            .expectUntil(".")
            .sayBytes(c.afterDot)
            .hangUp();
        const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
        EXPECT_EQ(outcome.kind, c.kind) << c.why << ": " << outcome.answer;
        EXPECT_THAT(server.complaints(), IsEmpty()) << c.why;
    }
}

TEST_F(SmtpTransport, OddServersAreAFailureNotACrash) {
    for (const std::string& greeting :
         {std::string("220"), std::string("\r\n\r\n"), std::string(200'000, 'x') + "\r\n",
          std::string("\0\xFF\x01\r\n", 5), std::string("220 hello\r\n220 hello again\r\n"),
          "220-" + std::string(100'000, 'y') + "\r\n"}) {
        ScriptedServer server;
        server.script().sayBytes(greeting).hangUp();
        const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
        EXPECT_EQ(outcome.kind, Kind::Temporary) << greeting.substr(0, 20);
        EXPECT_LT(outcome.answer.size(), 1000u);
        EXPECT_EQ(dots_, 0);
    }
}

TEST_F(SmtpTransport, NamesAddressesThatAreNone) {
    RecordingSmtpServer server;
    const auto sendTo = [&](const std::string& from, std::vector<std::string> to) {
        return sendOverSmtp(account(server.port(), TransportSecurity::None),
                            {from, std::move(to), SizedSource("A: b\r\n\r\n")},
                            {.beforeFinalDot = [](const auto&) { return true; }, .isCancelled = {}});
    };
    EXPECT_EQ(sendTo("x\r\nRSET", {"a@x.example"}).kind, Kind::Refused);
    EXPECT_EQ(sendTo("a@x.example", {"b\r\nRSET@x.example", ""}).kind, Kind::Refused);
    const SmtpOutcome outcome = sendTo("a@x.example", {"b c@x.example", "d@x.example"});
    EXPECT_EQ(outcome.kind, Kind::Accepted);
    EXPECT_EQ(outcome.refused.forGood.size(), 1u);
    EXPECT_THAT(server.received().front().to, ElementsAre("d@x.example"));
    EXPECT_THAT(server.violations(), IsEmpty());
}
}  // namespace
}  // namespace qs
