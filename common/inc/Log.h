// The log and trace macros. Off costs one load, one compare and one branch; arguments are evaluated once and only when
// the level is on. The subsystem is Orv::Trace::Notif or Orv::Trace::Common.
#pragma once

#include "LoggingWrapper.h"

// A message of severity 3 (error), 4 (warning) or 6 (information).
#define ORV_LOG(subsystem, severity, ...)                                                                  \
    do                                                                                                     \
    {                                                                                                      \
        if (__builtin_expect(Orv::LoggingWrapper::get_level() >= (severity), 0))                           \
        {                                                                                                  \
            Orv::LoggingWrapper::instance().message((subsystem), (severity), __FILE__, __func__, __LINE__, \
                                                    __VA_ARGS__);                                          \
        }                                                                                                  \
    } while (false)

// Traces are compiled out in one build alone, against which their cost is measured.
#if defined(ORV_TRACE_COMPILED_OUT)
#define ORV_TRACE_IS_ON false
#else
#define ORV_TRACE_IS_ON (Orv::LoggingWrapper::get_level() >= Orv::LoggingWrapper::LEVEL_TRACE)
#endif

// A trace. A text that begins with " >> " is an entry, one with " << " an exit.
#define ORV_TRACE(subsystem, ...)                                                                          \
    do                                                                                                     \
    {                                                                                                      \
        if (__builtin_expect(ORV_TRACE_IS_ON, 0))                                                          \
        {                                                                                                  \
            Orv::LoggingWrapper::instance().trace((subsystem), __FILE__, __func__, __LINE__, __VA_ARGS__); \
        }                                                                                                  \
    } while (false)
