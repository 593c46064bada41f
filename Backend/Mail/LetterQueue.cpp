#include "Mail/LetterQueue.h"

#include <algorithm>

#include "Foundation/Log.h"
#include "Mail/Letters.h"
#include "Mail/MailSender.h"
#include "Metrics.h"
#include "Store/SqlPool.h"

namespace qs {

namespace {

constexpr TimeInterval kBetweenLooks = 3600;
// Longer than an attempt can last: then a letter whose sender died is taken up by another.
constexpr TimeInterval kClaim = 1800;
constexpr TimeInterval kLongestLife = 2 * 86'400;
constexpr TimeInterval kFirstPause = 60, kLongestPause = 3600;
constexpr int kAtOnce = 20;

}  // namespace

LetterQueue::LetterQueue(SqlPool& database, MailSender& sender, Metrics& metrics, std::string from)
    : database_(database), sender_(sender), metrics_(metrics), from_(std::move(from)) {}

LetterQueue::~LetterQueue() {
    *alive_ = false;
    if (timer_) timer_->invalidate();
    queue_.cancelWaiting();
}

void LetterQueue::start() {
    lookAgainIn(kBetweenLooks);
    wake();
}

void LetterQueue::lookAgainIn(TimeInterval seconds) {
    if (timer_) timer_->invalidate();
    timer_ = RunLoop::main().after(seconds, [this] {
        lookAgainIn(kBetweenLooks);
        wake();
    });
}

void LetterQueue::wake() {
    // One that waits sees what came before it runs.
    if (queue_.waitingAndRunning() < 2) queue_.add([this] { run(); });
}

void LetterQueue::run() {
    try {
        const Date now = RunLoop::main().now();
        std::vector<Letter> letters;
        do {
            letters = database_.transaction(
                [&](SqlConnection& database) { return claimLetters(database, now, now + kClaim, kAtOnce); });
            for (const Letter& letter : letters)
                sendOne(letter);
        } while (!letters.empty());
        const WaitingLetters waiting =
            database_.transaction([](SqlConnection& database) { return waitingLetters(database); });
        metrics_.set("letters_waiting", waiting.count);
        if (waiting.count == 0) return;
        RunLoop::main().post([this, alive = alive_, next = waiting.nextAttempt] {
            if (*alive) lookAgainIn(std::clamp(next - RunLoop::main().now() + 1, 1.0, kBetweenLooks));
        });
    } catch (const SqlFailure& failure) {
        logError(std::string("Letters wait for the database: ") + failure.what());
        metrics_.add("database_failures_total");
        RunLoop::main().post([this, alive = alive_] {
            if (*alive) lookAgainIn(kFirstPause);
        });
    }
}

void LetterQueue::sendOne(const Letter& letter) {
    const Date now = RunLoop::main().now();
    const SendOutcome outcome = sender_.send({from_, letter.recipient, messageOf(letter, from_, now)});
    const bool goesOn = outcome == SendOutcome::Later && now - letter.created < kLongestLife;
    metrics_.add(outcome == SendOutcome::Sent ? R"(letters_total{outcome="sent"})"
                 : goesOn                     ? R"(letters_total{outcome="later"})"
                                              : R"(letters_total{outcome="failed"})");
    const TimeInterval pause = std::min(kLongestPause, kFirstPause * (1 << std::min(letter.attempts, 10)));
    database_.transaction([&](SqlConnection& database) {
        if (goesOn)
            setNextAttempt(database, letter.id, now + pause);
        else
            removeLetter(database, letter.id);
    });
}

}  // namespace qs
