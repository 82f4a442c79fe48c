#pragma once

#include <Poco/Mutex.h>

#include <cstdio>
#include <functional>
#include <string>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "ThreadSafety.h"

namespace OrvElement
{

enum class RecordFormat
{
    Text,
    Json
};

// Writes records to a stream, one line each, flushed at once so that a pipe's reader sees them as they come.
// Threads:   print from any; a line is never broken by another.
// Ownership: the stream is the caller's.
// Failure:   the first line that cannot be written calls onFailure, once; what follows is dropped.
class RecordPrinter
{
public:
    RecordPrinter(std::FILE* stream, RecordFormat format, std::function<void()> onFailure);

    void print(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record);

    bool failed() const;

    RecordPrinter(const RecordPrinter&) = delete;
    RecordPrinter& operator=(const RecordPrinter&) = delete;

private:
    const RecordFormat _format;
    const std::function<void()> _onFailure;
    mutable Poco::FastMutex _mutex;
    std::FILE* const _stream ORV_PT_GUARDED_BY(_mutex);
    bool _failed ORV_GUARDED_BY(_mutex) = false;
};

}  // namespace OrvElement
