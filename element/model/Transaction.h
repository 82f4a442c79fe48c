#pragma once

#include <Poco/Mutex.h>

#include <memory>
#include <optional>
#include <string>

#include "ThreadSafety.h"
#include "ValueArena.h"

namespace OrvElement
{

class DataTree;
class YangModel;

// A read transaction: the data as they were when it was opened, and the results that have been read from them. Later
// edits make new data and leave these alone.
// Threads:   any. The search for a value takes no lock; _mutex is held while a result is made.
// Ownership: shares the data, owns the results. The model must outlive it.
// Invariant: what a read has returned stays where it is until the transaction's end.
class Transaction
{
public:
    Transaction(const YangModel& model, std::shared_ptr<const DataTree> data);

    // All values of the attribute, the defaults in use included; none if there is no value. The DN may have its
    // internal or external form. Null if there is no such object, or if its class has no such attribute.
    ZelMoAttributeValueContainer_3* read(const std::string& dn, const std::string& attributeName) ORV_EXCLUDES(_mutex);

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

private:
    const YangModel& _model;
    const std::shared_ptr<const DataTree> _data;

    Poco::FastMutex _mutex;
    // Made by the first result: a transaction that is left open after a failed read takes little memory.
    std::optional<ValueArena> _results ORV_GUARDED_BY(_mutex);
};

}  // namespace OrvElement
