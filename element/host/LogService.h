#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>

#include <string>

#include "ZelMwSpi.h"

namespace OrvElement
{

// The element's log and trace interfaces on POCO's logging. A severity is POCO's priority of the same number: 3 error,
// 4 warning, 6 information, 8 trace. A line is written if the level is at least its severity.
// Threads:   the tables and write from any; construction and destruction while nothing logs.
// Ownership: the tables are static; after the object's end they write nothing. The channel is shared with POCO.
// Invariant: one object at a time, for POCO's logger "orv-element" is one.
class LogService
{
public:
    enum
    {
        DEFAULT_LEVEL = 4,
        TRACE_LEVEL = 8,
        // From here on the second trace operation writes too. It repeats every message and trace of the first stream,
        // with the subsystem and the place in the source, which below this level would only double the lines.
        SECOND_TRACE_LEVEL = 14
    };

    // A null channel means standard error.
    explicit LogService(int level, const Poco::AutoPtr<Poco::Channel>& channel = Poco::AutoPtr<Poco::Channel>());
    ~LogService();

    // null / "OrvMwSpiLog" / "1" and null / "ZelMwSpiTrace" / null.
    static OrvMwSpiLog_1& log();
    static ZelMwSpiTrace& trace();

    // A line of the element's own.
    static void write(int severity, const std::string& text);

    LogService(const LogService&) = delete;
    LogService& operator=(const LogService&) = delete;
};

}  // namespace OrvElement
