// Libraries to measure: Maildirs with made-up mail, and an index of a million messages.
#pragma once

#include <filesystem>
#include <memory>

#include "AccountBook.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"
#include "MailLibrary.h"
#include "Support/TemporaryFolder.h"

namespace qs {

inline constexpr double kSampleUntil = 1'795'392'000;  // its newest message; seconds since 1970

// What a library needs around it.
struct Ground {
    std::unique_ptr<RunLoop> loop = RunLoop::make(RunLoop::Clock::Real);
    ClassRegistry registry;
};

// Made once for a size and kept for all measurements. From a million messages on there are no files of mail: the rows
// are put into the index, with the facts of made-up mail but only the beginnings of the texts, as a Maildir of that
// size takes longer to make than to measure. Lists and searches look at nothing but the index.
class LibrarySample {
public:
    static LibrarySample& of(int count);
    static constexpr int kWithoutFiles = 1'000'000;

    std::shared_ptr<MailLibrary> open() const;
    void forgetIndex() const;
    // How long the database alone takes for the words of the messages, in an index that holds nothing else.
    double secondsForWordsAlone() const;
    int count() const { return count_; }
    std::filesystem::path maildir() const { return folder_ / "Mail/ada"; }
    std::filesystem::path scratch() const { return folder_ / "Scratch"; }  // beside the library, for peers

private:
    explicit LibrarySample(int count);
    void fillIndex() const;

    int count_;
    TemporaryFolder folder_;
    std::shared_ptr<AccountBook> book_;
};

MessageCriterion sampleInbox();
// Of the inbox, what came in the last seven days.
MessageCriterion lastSevenDays();
double residentMegabytes();

}  // namespace qs
