// Tells on the main thread what changed in the library, coalesced per turn of the run loop. Without a run loop nothing
// is told. Safe from every thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace qs {

class LibraryStore;
class Message;

class Announcer : public std::enable_shared_from_this<Announcer> {
public:
    // `messageFor` answers null for a message that is gone again, `copyOf` the id of the copy that stands for a message
    // at Gmail, or 0.
    Announcer(std::shared_ptr<LibraryStore> store, std::function<std::shared_ptr<Message>(std::int64_t id)> messageFor,
              std::function<std::int64_t(const std::string& account, std::uint64_t message)> copyOf);

    void mailboxChanged(const std::string& identifier);
    // `left`: the message as it was in the mailbox from which it moved here.
    void messageArrived(std::int64_t id, bool duringOpen, std::shared_ptr<Message> left = nullptr);
    // At Gmail. `left`: the message as it was in the mailboxes whose labels it lost.
    void labelsChanged(const std::string& account, std::uint64_t message,
                       const std::vector<std::shared_ptr<Message>>& left);
    // What has moved away with an arrival, or lost a label, of which not everybody has been told yet, by Message-Id.
    std::vector<std::shared_ptr<Message>> leaving(std::string_view messageID);
    // Identifiers of the mailboxes that the message has left, as long as not everybody has been told.
    std::set<std::string> mailboxesLeft(const std::string& account, std::uint64_t message);
    // Nothing is told any more; `messageFor` is not called after this returns. Main thread.
    void stop();

private:
    struct Arrivals {
        std::vector<std::int64_t> ids;
        bool duringOpen = false;
        std::vector<std::shared_ptr<Message>> left;
    };

    void schedule();  // under the lock
    void tell();
    void tellArrivals(const std::vector<std::int64_t>& ids, bool duringOpen);
    using Relabelled = std::map<std::pair<std::string, std::uint64_t>, std::vector<std::shared_ptr<Message>>>;
    void tellLabels(const Relabelled& messages);

    const std::shared_ptr<LibraryStore> store_;
    std::function<std::shared_ptr<Message>(std::int64_t)> messageFor_;
    std::function<std::int64_t(const std::string&, std::uint64_t)> copyOf_;
    std::mutex lock_;
    std::set<std::string> changed_;
    std::vector<Arrivals> arrivals_;  // in order, those of one kind together, none too long
    Arrivals told_;                   // those that are being told
    Relabelled relabelled_, toldLabels_;
    bool isScheduled_ = false, isStopped_ = false;
};

}  // namespace qs
