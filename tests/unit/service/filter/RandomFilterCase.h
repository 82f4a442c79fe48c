#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FilterModel.h"

namespace OrvTest
{

// One call, or some, of a filter for one notification.
struct FilterStep
{
    // Who asks for what stands in for the notification.
    enum Ask
    {
        never,       // a replay
        whenPassed,  // live delivery
        always,      // with no regard to the verdict; also a control record that is not matched at all
        twice
    };

    Naive::Change change;
    bool match = true;
    Ask ask = whenPassed;
};

// A model, a filter, and a short sequence of notifications that meet it.
struct FilterCase
{
    unsigned int seed = 0;
    Naive::Model model;
    std::optional<std::vector<Naive::TreeNode>> trees;
    std::vector<FilterStep> steps;
};

// The same seed gives the same case on every machine.
FilterCase randomFilterCase(unsigned int seed);
// The bytes decide what comes, see RandomValues; the seed of the case is 0.
FilterCase randomFilterCase(const std::vector<uint8_t>& choices);

// All of the case, for a reader.
std::string describe(const FilterCase& filterCase);

// Every case that has one piece less.
std::vector<FilterCase> smallerCases(const FilterCase& filterCase);

}  // namespace OrvTest
