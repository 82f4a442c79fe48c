// Times as text: RFC 3339, and offsets from now. All values are microseconds since the Unix epoch.
#pragma once

#include <cstdint>
#include <string>

namespace OrvElement
{

// "2026-01-31T12:00:00.000000Z": always UTC, always six digits.
std::string formatTime(int64_t microseconds);

// An RFC 3339 date-time ("2026-01-31T12:00:00Z", "2026-01-31T13:00:00.25+01:00", digits behind the sixth are cut), or
// an offset from now: a sign, a whole number and a unit, "-90s", "+5m", "-2h". now: what an offset counts from. Throws
// ElementError with the text for anything else, and for a time that is not later than 1970-01-01T00:00:00Z or is behind
// the year 9999.
int64_t parseTime(const std::string& text, int64_t now);

// The system clock.
int64_t currentTime();

}  // namespace OrvElement
