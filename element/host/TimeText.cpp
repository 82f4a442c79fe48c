#include "TimeText.h"

#include <time.h>

#include <chrono>
#include <cstdio>
#include <regex>

#include "ElementError.h"

namespace OrvElement
{

namespace
{

const int64_t MICROSECONDS = 1000000;
const int64_t END_OF_9999 = 253402300799 * MICROSECONDS + 999999;

ElementError notATime(const std::string& text)
{
    return ElementError(
        "\"" + text + "\" is no time: give 2026-01-31T12:00:00Z (RFC 3339, later than 1970) or an offset such as -60s");
}

int64_t unitSeconds(char unit)
{
    return unit == 's' ? 1 : unit == 'm' ? 60 : 3600;
}

int64_t parseOffset(const std::smatch& parts, int64_t now)
{
    const int64_t size = std::stoll(parts[2]) * unitSeconds(parts[3].str()[0]) * MICROSECONDS;
    return parts[1] == "-" ? now - size : now + size;
}

int daysIn(int month, int year)
{
    const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leapYear = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leapYear ? 29 : days[month - 1];
}

int64_t parseDateTime(const std::smatch& parts, const std::string& text)
{
    tm fields = {};
    fields.tm_year = std::stoi(parts[1]) - 1900;
    fields.tm_mon = std::stoi(parts[2]) - 1;
    fields.tm_mday = std::stoi(parts[3]);
    fields.tm_hour = std::stoi(parts[4]);
    fields.tm_min = std::stoi(parts[5]);
    fields.tm_sec = std::stoi(parts[6]);
    const int zoneHours = parts[9].matched ? std::stoi(parts[9]) : 0;
    const int zoneMinutes = parts[10].matched ? std::stoi(parts[10]) : 0;
    // Second 60 is a leap second, which the system clock counts as the next minute's first.
    if (fields.tm_mon < 0 || fields.tm_mon > 11 || fields.tm_mday < 1 ||
        fields.tm_mday > daysIn(fields.tm_mon + 1, fields.tm_year + 1900) || fields.tm_hour > 23 ||
        fields.tm_min > 59 || fields.tm_sec > 60 || zoneHours > 23 || zoneMinutes > 59)
    {
        throw notATime(text);
    }
    const std::string fraction = (parts[7].str() + "000000").substr(0, 6);
    const int64_t zone = (int64_t(zoneHours) * 60 + zoneMinutes) * 60;
    const int64_t seconds = timegm(&fields) - (parts[8] == "-" ? -zone : zone);
    return seconds * MICROSECONDS + std::stoll(fraction);
}

}  // namespace

std::string formatTime(int64_t microseconds)
{
    // Towards the past, so that the fraction is never negative.
    int64_t fraction = microseconds % MICROSECONDS;
    time_t seconds = microseconds / MICROSECONDS;
    if (fraction < 0)
    {
        fraction += MICROSECONDS;
        --seconds;
    }
    tm fields = {};
    gmtime_r(&seconds, &fields);
    char text[64];
    const size_t length = strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &fields);
    std::snprintf(text + length, sizeof(text) - length, ".%06dZ", static_cast<int>(fraction));
    return text;
}

int64_t parseTime(const std::string& text, int64_t now)
{
    static const std::regex offset("([+-])([0-9]{1,9})([smh])");
    static const std::regex dateTime(
        "([0-9]{4})-([0-9]{2})-([0-9]{2})[Tt]([0-9]{2}):([0-9]{2}):([0-9]{2})(?:\\.([0-9]+))?"
        "(?:[Zz]|([+-])([0-9]{2}):([0-9]{2}))");
    std::smatch parts;
    int64_t time = 0;
    if (std::regex_match(text, parts, offset))
    {
        time = parseOffset(parts, now);
    }
    else if (std::regex_match(text, parts, dateTime))
    {
        time = parseDateTime(parts, text);
    }
    if (time <= 0 || time > END_OF_9999)
    {
        throw notATime(text);
    }
    return time;
}

int64_t currentTime()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace OrvElement
