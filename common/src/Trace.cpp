#include "Trace.h"

namespace Orv
{
namespace Trace
{

namespace
{

constexpr Subsystem notif = {"Notif"};
constexpr Subsystem common = {"Common"};

}  // namespace

const Subsystem* const Notif = &notif;
const Subsystem* const Common = &common;

}  // namespace Trace
}  // namespace Orv
