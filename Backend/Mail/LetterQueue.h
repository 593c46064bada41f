// Sends the letters that wait in the database, and tries again later those that could not be sent, until they are two
// days old: then their links lead nowhere any more.
#pragma once

#include <functional>
#include <memory>

#include "Foundation/RunLoop.h"
#include "Store/LetterTables.h"

namespace qs {

class MailSender;
class Metrics;
class SqlPool;

class LetterQueue {
public:
    LetterQueue(SqlPool& database, MailSender& sender, Metrics& metrics, std::string from);
    ~LetterQueue();

    // Looks for letters that are due: now, when the next attempt is, and once an hour for those of other programs. Main
    // thread.
    void start();
    void wake();  // something was put in; from every thread

private:
    void run();  // on a thread that may wait
    void sendOne(const Letter& letter);
    void lookAgainIn(TimeInterval seconds);

    SqlPool& database_;
    MailSender& sender_;
    Metrics& metrics_;
    const std::string from_;
    TimerRef timer_;  // main thread
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    OperationQueue queue_{1, OperationQueue::Threads::Own};
};

}  // namespace qs
