#pragma once

#include <string>
#include <vector>

#include "RandomFilterCase.h"

namespace OrvTest
{

// What an evaluation of a case found, as lines to compare.
struct Findings
{
    std::vector<std::string> answers;  // verdicts, each with the working state that it leaves, and refusals to reduce
    std::vector<std::string> records;  // derived and reduced
    std::vector<std::string> calls;    // of the framework
    std::vector<std::string> dnCalls;  // of the helper that forms DNs
    unsigned int opened = 0;           // transactions
    unsigned int closed = 0;
    unsigned int misuses = 0;  // of handles
};

// How often each kind of thing has happened. All but the first count notifications that were matched, or asked about.
struct Mix
{
    unsigned int sequences = 0;
    unsigned int matched = 0;
    unsigned int passed = 0;
    unsigned int derivedTwo = 0;      // derived two DNs or more
    unsigned int grownKeys = 0;       // derived a key of several stars
    unsigned int keysUnknown = 0;     // ended at a class whose key is not known
    unsigned int reduced = 0;         // gave a reduced record
    unsigned int dropped = 0;         // met a selection of another record
    unsigned int controlDerived = 0;  // control records in whose place an earlier delete came
    unsigned int readAndPassed = 0;   // passed after reads, none of which failed
    unsigned int leftOpen = 0;        // left a transaction open
    unsigned int oddDns = 0;          // had a component that is not class=key
};

// Of the service's filter, over a fake framework. What it gave is read when all that it was given is gone.
Findings realFindings(const FilterCase& filterCase);

// Of the plain evaluation; adds to the mix.
Findings naiveFindings(const FilterCase& filterCase, Mix& mix);

// "" if both found the same, otherwise the first line in which they differ. Adds to the mix.
std::string difference(const FilterCase& filterCase, Mix& mix);

}  // namespace OrvTest
