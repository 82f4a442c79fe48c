#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace OrvBench
{

// What one run has measured. Written as one line of JSON each to standard output, in the order in which it was
// reported:
// {"scenario":"A","contestant":"service","parameters":{"S":8,"K":5000,"W":2500},"metric":"rate","unit":"1/s","value":1.0}
class Figures
{
public:
    typedef std::vector<std::pair<std::string, double>> Parameters;

    // scenario: "A" to "O", or "floor"; contestant: "service", a peer's name, or "floor".
    Figures(std::string scenario, std::string contestant, Parameters parameters);

    void report(const std::string& metric, const std::string& unit, double value);

private:
    const std::string _scenario;
    const std::string _contestant;
    const Parameters _parameters;
};

// The sample that this fraction of all, from 0 to 1, does not exceed: 0.5 is the median. Changes the order of the
// samples. Throws std::runtime_error if there are none.
double quantile(std::vector<int64_t>& samples, double fraction);

// The mean of the middle half of the samples: little else than the median, but finer than the clock's ticks where the
// samples are only a few ticks apart. As quantile.
double meanOfMiddle(std::vector<int64_t>& samples);

}  // namespace OrvBench
