#include "Account.h"

#include <algorithm>
#include <cmath>

namespace OrvStress
{

void Account::add(const Account& other)
{
    subscriptions += other.subscriptions;
    delivered += other.delivered;
    replayed += other.replayed;
    offeredAgain += other.offeredAgain;
    purged += other.purged;
    refused += other.refused;
    overflows += other.overflows;
    purgesMeasured += other.purgesMeasured;
    gaps += other.gaps;
    gapsJudged += other.gapsJudged;
    seamsJudged += other.seamsJudged;
    endsJudged += other.endsJudged;
    notices += other.notices;
    heartbeats += other.heartbeats;
    completions += other.completions;
    derivedDeletes += other.derivedDeletes;
    derivedControls += other.derivedControls;
}

const char* nameOf(Manner manner)
{
    static const char* const names[MANNERS] = {"fast",  "slow",          "retrying", "always retrying",
                                               "stuck", "deregistering", "throwing", "odd answers"};
    return names[static_cast<unsigned int>(manner)];
}

void Accounts::add(Manner manner, const Account& account)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _accounts[static_cast<unsigned int>(manner)].add(account);
}

Account Accounts::of(Manner manner) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _accounts[static_cast<unsigned int>(manner)];
}

Account Accounts::total() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    Account sum;
    for (const Account& account : _accounts)
    {
        sum.add(account);
    }
    return sum;
}

void Accounts::took(Manner manner, int64_t microseconds)
{
    const double quarters = 4 * std::log2(static_cast<double>(std::max<int64_t>(1, microseconds)));
    const unsigned int bucket = std::min(BUCKETS - 1, static_cast<unsigned int>(quarters));
    _latencies[static_cast<unsigned int>(manner)][bucket].fetch_add(1, std::memory_order_relaxed);
}

std::array<uint64_t, Accounts::BUCKETS> Accounts::latencies(Manner manner) const
{
    std::array<uint64_t, BUCKETS> counts = {};
    for (unsigned int i = 0; i < BUCKETS; ++i)
    {
        counts[i] = _latencies[static_cast<unsigned int>(manner)][i].load(std::memory_order_relaxed);
    }
    return counts;
}

double Accounts::quantile(const std::array<uint64_t, BUCKETS>& counts, double share)
{
    uint64_t all = 0;
    for (const uint64_t count : counts)
    {
        all += count;
    }
    const double wanted = share * static_cast<double>(all);
    uint64_t sum = 0;
    for (unsigned int i = 0; i < BUCKETS && all != 0; ++i)
    {
        sum += counts[i];
        if (static_cast<double>(sum) >= wanted)
        {
            return std::exp2((i + 1) / 4.0);
        }
    }
    return 0;
}

}  // namespace OrvStress
