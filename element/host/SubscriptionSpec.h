#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace OrvElement
{

// What a subscription asks for, and its form as one text for command lines:
//   name=NAME[;filter=KIND:EXPRESSION]...[;start=TIME][;stop=TIME][;heartbeat=SECONDS]
//   name=NAME[;subtree=SUBTREE]...[;start=TIME][;stop=TIME][;heartbeat=SECONDS]
// NAME is made of letters, digits, '_', '.' and '-'. KIND is objectCreated, objectDeleted, attributeChanged, or any for
// all three. EXPRESSION is a POSIX extended regular expression that must match up to the end of the DN or, for a
// change, of "DN,attribute". SUBTREE is a text that SubtreeFilter takes; what it means depends on a model, so here it
// is only kept. Several filters, of either form but not of both, combine by "or"; none takes everything. A semicolon
// inside a value is written "\;". TIME is what parseTime takes.
// Threads: as any value.
struct SubscriptionSpec
{
    enum : int64_t
    {
        // Seconds. The service counts a heartbeat and the time to a stop in 32 bits of milliseconds, and a value that
        // does not fit can end the process.
        MAX_HEARTBEAT = 2147483,
        MAX_TIME_TO_STOP = 2147483
    };

    std::string name;
    std::vector<std::pair<std::string, std::string>> filters;  // kind (never "any") and expression
    std::vector<std::string> subtrees;
    int64_t startTime = 0;  // microseconds since the Unix epoch, 0 for none
    int64_t stopTime = 0;   // likewise
    int64_t heartbeat = 0;  // seconds, 0 for none

    // now: microseconds since the Unix epoch, for times given as an offset and the limit of the stop time. Throws
    // ElementError that quotes the text and names the part that is wrong.
    static SubscriptionSpec parse(const std::string& text, int64_t now);
};

}  // namespace OrvElement
