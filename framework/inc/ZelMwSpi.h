// The framework's log and trace interfaces. Both are called from any thread.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "ZelTypes.h"

// null / "OrvMwSpiLog" / "1".
struct OrvMwSpiLog_1
{
    ZelMgmtSpiInterface_1 id;
    // A message of severity N is wanted if the level is at least N; traces are wanted if it is above 7.
    int (*getLevel)(void);
    // A null argument for %s is legal.
    void (*vlog)(const char* function, int severity, int flag, const char* format, va_list arguments);
};

// null / "ZelMwSpiTrace" / null.
struct ZelMwSpiTrace
{
    ZelMgmtSpiInterface_1 id;
    // kind: 9 entry of a function, 10 exit, 0 anything else.
    void (*vtrace)(const char* file, const char* function, int line, int kind, const char* format, va_list arguments);
    void (*vtraceV2)(const void* subsystem, int level, const char* file, const char* function, int line,
                     const char* format, va_list arguments);
};

static_assert(offsetof(OrvMwSpiLog_1, vlog) == 32, "log: two operations");
static_assert(offsetof(ZelMwSpiTrace, vtraceV2) == 32, "trace: two operations");
