#pragma once

#include <Poco/Mutex.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "ThreadSafety.h"

namespace OrvElement
{

class Transaction;

// How many transactions there were since the start, and how many are open now: opened = closed + reclaimed + openNow.
struct TransactionCounters
{
    uint64_t opened;
    uint64_t closed;
    uint64_t reclaimed;  // left open beyond their time-out
    uint64_t openNow;
};

// The open transactions by their handles, each with the time at which it may be reclaimed.
// Threads:   any; _mutex guards all and is held neither while a transaction is used nor while one is destroyed.
// Ownership: shared with whoever is reading: a transaction that is closed meanwhile ends with that read.
// Invariant: a handle is never 0, and no table of the process gives it a second time.
class TransactionTable
{
public:
    // Monotonic time. Called with _mutex held.
    typedef std::function<std::chrono::steady_clock::time_point()> Clock;

    explicit TransactionTable(std::size_t maxOpen, Clock clock = std::chrono::steady_clock::now);
    ~TransactionTable();

    // The handle, or 0 if there are as many as may be.
    unsigned long open(std::shared_ptr<Transaction> transaction, std::chrono::seconds timeout) ORV_EXCLUDES(_mutex);

    // Null for what is no handle of an open transaction.
    std::shared_ptr<Transaction> find(unsigned long handle) const ORV_EXCLUDES(_mutex);

    // False for what is no handle of an open transaction.
    bool close(unsigned long handle) ORV_EXCLUDES(_mutex);

    // Ends every transaction whose time-out has passed, which takes no memory. Returns their number.
    std::size_t reclaim() ORV_EXCLUDES(_mutex);

    TransactionCounters counters() const ORV_EXCLUDES(_mutex);

    TransactionTable(const TransactionTable&) = delete;
    TransactionTable& operator=(const TransactionTable&) = delete;

private:
    typedef std::chrono::steady_clock::time_point TimePoint;
    struct Entry
    {
        std::shared_ptr<Transaction> transaction;
        TimePoint deadline;
    };

    const std::size_t _maxOpen;
    Clock _clock;

    mutable Poco::FastMutex _mutex;
    std::map<unsigned long, Entry> _open ORV_GUARDED_BY(_mutex);
    std::set<std::pair<TimePoint, unsigned long>> _deadlines ORV_GUARDED_BY(_mutex);  // of all in _open
    uint64_t _opened ORV_GUARDED_BY(_mutex) = 0;
    uint64_t _closed ORV_GUARDED_BY(_mutex) = 0;
    uint64_t _reclaimed ORV_GUARDED_BY(_mutex) = 0;
};

}  // namespace OrvElement
