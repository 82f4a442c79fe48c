#pragma once

#include <functional>
#include <string>

namespace OrvTest
{

// What the child of one run has found out. It stands in memory that parent and child share, so it survives the child's
// end, whatever that is. Plain data.
struct Facts
{
    bool met;                    // the fault
    int answer;                  // of the call under test
    bool threw;                  // an exception came out of it
    bool threadEnded;            // the service thread, by an exception
    bool effect;                 // the call did what it is for
    bool served;                 // afterwards a healthy subscriber got its record
    bool entriesWork;            // afterwards each entry of the table answered as it should
    bool stopped;                // stop, terminate and unload went through
    unsigned int held;           // mutexes, in the end
    unsigned int threads;        // of the service, in the end
    unsigned int unjoined;       // in the end, dead ones included
    unsigned int blocks;         // of the service, in the end
    unsigned int foreignBlocks;  // of libraries on its behalf, in the end
    unsigned int consumers;      // that the router still knows, in the end
    bool finished;               // the child came to its end
    bool terminated;             // std::terminate was called
    char trouble[512];           // what the child could not do; empty for nothing
    char place[4096];            // where the fault was met, for messages
};

// How a child ended.
enum class Ending
{
    finished,
    aborted,     // abort() or a failed assertion
    terminated,  // std::terminate
    crashed,     // a segmentation fault, or what a sanitizer makes of one
    failed,      // any other end: the child could not do its work, or a sanitizer's report
    hung         // after the time-out
};

struct RunReport
{
    Facts facts;
    Ending ending;
    std::string errors;  // what the child wrote to standard error
};

// Writes down where the fault was met, at the first call. Any thread of the child, or a signal that ends it.
void notePlace(Facts& facts);

// Runs the body in a child of this process, which must have one thread alone, and waits for it.
RunReport runInChild(const std::function<void(Facts&)>& body);

}  // namespace OrvTest
