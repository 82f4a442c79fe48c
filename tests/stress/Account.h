#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

namespace OrvStress
{

// What subscriptions have been through, for the closing table.
struct Account
{
    uint64_t subscriptions = 0;
    uint64_t delivered = 0;  // records that were seen, each counted once
    uint64_t replayed = 0;   // of these
    uint64_t offeredAgain = 0;
    uint64_t purged = 0;   // records that are missing behind an overflow record
    uint64_t refused = 0;  // records that are missing since the service has refused them
    uint64_t overflows = 0;
    uint64_t purgesMeasured = 0;  // overflows whose loss was compared with the limit
    uint64_t gaps = 0;
    uint64_t gapsJudged = 0;   // subscriptions for which it was certain whether a gap record was due
    uint64_t seamsJudged = 0;  // replays for which it was certain where they had to begin
    uint64_t endsJudged = 0;   // replays up to a past stop time for which the same holds for the end
    uint64_t notices = 0;
    uint64_t heartbeats = 0;
    uint64_t completions = 0;
    uint64_t derivedDeletes = 0;   // deletes that a subtree filter has derived
    uint64_t derivedControls = 0;  // control records with the DN of a delete

    void add(const Account& other);
};

// How a subscriber takes its records.
enum class Manner
{
    Fast,
    Slow,            // waits inside each call for a while
    Retrying,        // wants a record up to three more times before it takes it
    RetryingAlways,  // never takes one
    Stuck,           // does not return
    Deregistering,   // answers so after some records, and stays
    Throwing,
    Odd  // answers with codes that mean nothing
};
const unsigned int MANNERS = 8;
const char* nameOf(Manner manner);

// What each manner has been through, and how long its live records took from their stamp to the handler.
// Threads: any.
class Accounts
{
public:
    static constexpr unsigned int BUCKETS = 112;  // four for each power of two, from a microsecond on

    void add(Manner manner, const Account& account);
    Account of(Manner manner) const;
    Account total() const;

    void took(Manner manner, int64_t microseconds);
    std::array<uint64_t, BUCKETS> latencies(Manner manner) const;
    // The upper bound of the bucket in which this share of the values ends, microseconds; 0 without values.
    static double quantile(const std::array<uint64_t, BUCKETS>& counts, double share);

    // What the service must have logged, each once.
    std::atomic<uint64_t> answers{0};
    std::atomic<uint64_t> exceptions{0};
    std::atomic<uint64_t> notFound{0};  // unsubscribe was answered so
    std::atomic<uint64_t> handlesInUse{0};

private:
    mutable std::mutex _mutex;
    std::array<Account, MANNERS> _accounts;
    std::array<std::array<std::atomic<uint64_t>, BUCKETS>, MANNERS> _latencies{};
};

}  // namespace OrvStress
