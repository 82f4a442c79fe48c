// The service's own log and trace lines.
#pragma once

#include "Log.h"

#define NOTIF_ERROR(...) ORV_LOG(Orv::Trace::Notif, Orv::LoggingWrapper::LEVEL_ERROR, __VA_ARGS__)
#define NOTIF_WARNING(...) ORV_LOG(Orv::Trace::Notif, Orv::LoggingWrapper::LEVEL_WARNING, __VA_ARGS__)
#define NOTIF_INFO(...) ORV_LOG(Orv::Trace::Notif, Orv::LoggingWrapper::LEVEL_INFO, __VA_ARGS__)
#define NOTIF_TRACE(...) ORV_TRACE(Orv::Trace::Notif, __VA_ARGS__)
