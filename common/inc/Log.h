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

// A trace. A text that begins with " >> " is an entry, one with " << " an exit.
#define ORV_TRACE(subsystem, ...)                                                                          \
    do                                                                                                     \
    {                                                                                                      \
        if (__builtin_expect(Orv::LoggingWrapper::get_level() >= Orv::LoggingWrapper::LEVEL_TRACE, 0))     \
        {                                                                                                  \
            Orv::LoggingWrapper::instance().trace((subsystem), __FILE__, __func__, __LINE__, __VA_ARGS__); \
        }                                                                                                  \
    } while (false)
