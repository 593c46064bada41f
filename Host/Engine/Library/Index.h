// The index file: tables of mailboxes, messages, their words and the addresses in them, in SQLite. Derived from the
// Maildir trees: a file that is damaged, or of another version, is set aside and an empty one begun. On a disk that
// takes no index it is kept in memory, so that mail can be read all the same.
//
// One writer at a time, readers beside it. Do not ask for a Reading or Writing while holding one. Throws
// DatabaseFailure.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "Database/Database.h"

namespace qs {

class FileSystem;

// From so many on a Gathering is worth its while.
inline constexpr std::int64_t kVeryManyMessages = 2000;

class Index {
public:
    // Notices tell what was wrong.
    Index(std::filesystem::path file, FileSystem& files, std::vector<std::string>& notices);
    ~Index();

    // A connection to read with; sees one state as long as a query is under way.
    class Reading {
    public:
        ~Reading();
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        Database& operator*() const { return *database_; }
        Database* operator->() const { return database_; }

    private:
        friend class Index;
        explicit Reading(Index& index);
        Index& index_;
        std::shared_lock<std::shared_mutex> life_;
        std::unique_lock<std::mutex> writer_;  // when there is but one connection
        std::unique_ptr<Database> own_;
        Database* database_;
    };

    // The connection to write with, in a transaction that ends without effect unless it is committed.
    class Writing {
    public:
        Database& operator*() const { return *database_; }
        Database* operator->() const { return database_; }
        void commit() { transaction_.commit(); }

    private:
        friend class Index;
        explicit Writing(Index& index);
        std::shared_lock<std::shared_mutex> life_;
        std::unique_lock<std::mutex> writer_;
        Database* database_;
        Transaction transaction_;
    };

    // While very many messages are put in. Nobody waits for the disk then: the index is as safe as ever from a crash of
    // the program, and one that the computer goes down over is made anew. Several may be there at a time.
    class Gathering {
    public:
        explicit Gathering(Index& index) : index_(index) { index_.beginGathering(); }
        ~Gathering() { index_.endGathering(); }  // everything is on the disk
        Gathering(const Gathering&) = delete;
        Gathering& operator=(const Gathering&) = delete;

    private:
        Index& index_;
    };

    Reading read() { return Reading(*this); }
    Writing write() { return Writing(*this); }

    // Sets the file aside and begins an empty one. Waits for readers and writers.
    void beginAnew(std::vector<std::string>& notices);

private:
    void openOrReplace(std::vector<std::string>& notices);
    void setAside();
    void beginGathering();
    void endGathering();
    void settle();  // after a gathering; with the right to write

    const std::filesystem::path file_;
    FileSystem& files_;
    std::shared_mutex life_;  // held exclusively while the file is exchanged
    std::mutex writing_;
    std::unique_ptr<Database> writer_;
    bool isInMemory_ = false;
    std::mutex gathering_;  // taken before the others
    int gatherings_ = 0;
    std::mutex poolLock_;
    std::vector<std::unique_ptr<Database>> pool_;
};

}  // namespace qs
