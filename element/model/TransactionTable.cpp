#include "TransactionTable.h"

#include <atomic>

#include "OrvThreadLock.h"
#include "Transaction.h"

namespace OrvElement
{
namespace
{

typedef Orv::OrvThreadLock<Poco::FastMutex> Lock;

// Of the whole process, so that a handle of an earlier table is found out.
unsigned long nextHandle()
{
    static std::atomic<unsigned long> last(0);
    return ++last;
}

}  // namespace

TransactionTable::TransactionTable(std::size_t maxOpen, Clock clock) : _maxOpen(maxOpen), _clock(std::move(clock)) {}

TransactionTable::~TransactionTable() = default;

unsigned long TransactionTable::open(std::shared_ptr<Transaction> transaction, std::chrono::seconds timeout)
{
    const Lock lock(_mutex);
    if (_open.size() >= _maxOpen)
    {
        return 0;
    }
    const unsigned long handle = nextHandle();
    const TimePoint deadline = _clock() + timeout;
    const auto entry = _deadlines.emplace(deadline, handle).first;
    try
    {
        _open.emplace(handle, Entry{std::move(transaction), deadline});
    }
    catch (...)
    {
        _deadlines.erase(entry);
        throw;
    }
    ++_opened;
    return handle;
}

std::shared_ptr<Transaction> TransactionTable::find(unsigned long handle) const
{
    const Lock lock(_mutex);
    const auto found = _open.find(handle);
    return found == _open.end() ? nullptr : found->second.transaction;
}

bool TransactionTable::close(unsigned long handle)
{
    std::shared_ptr<Transaction> ended;  // its data may be large: they go after the lock was given back
    const Lock lock(_mutex);
    const auto found = _open.find(handle);
    if (found == _open.end())
    {
        return false;
    }
    ended.swap(found->second.transaction);
    _deadlines.erase({found->second.deadline, handle});
    _open.erase(found);
    ++_closed;
    return true;
}

std::size_t TransactionTable::reclaim()
{
    std::map<unsigned long, Entry> ended;  // as in close; entries move over as they are, which takes no memory
    const Lock lock(_mutex);
    const TimePoint now = _clock();
    while (!_deadlines.empty() && _deadlines.begin()->first <= now)
    {
        ended.insert(_open.extract(_deadlines.begin()->second));
        _deadlines.erase(_deadlines.begin());
        ++_reclaimed;
    }
    return ended.size();
}

TransactionCounters TransactionTable::counters() const
{
    const Lock lock(_mutex);
    return {_opened, _closed, _reclaimed, _open.size()};
}

}  // namespace OrvElement
