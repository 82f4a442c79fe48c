#pragma once

namespace Orv
{
namespace Trace
{

// What a subsystem handle points to, for trace sinks that want to show the name.
struct Subsystem
{
    const char* name;
};

extern const Subsystem* const Notif;   // the notification service's own code
extern const Subsystem* const Common;  // the common templates and the support library

}  // namespace Trace
}  // namespace Orv
