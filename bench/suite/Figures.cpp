#include "Figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numeric>
#include <stdexcept>

namespace OrvBench
{

Figures::Figures(std::string scenario, std::string contestant, Parameters parameters)
    : _scenario(std::move(scenario)), _contestant(std::move(contestant)), _parameters(std::move(parameters))
{
}

void Figures::report(const std::string& metric, const std::string& unit, double value)
{
    nlohmann::ordered_json parameters = nlohmann::ordered_json::object();
    for (const auto& parameter : _parameters)
    {
        // Counts, nearly all of them: written without a fraction.
        if (parameter.second == std::floor(parameter.second))
        {
            parameters[parameter.first] = static_cast<int64_t>(parameter.second);
        }
        else
        {
            parameters[parameter.first] = parameter.second;
        }
    }
    const nlohmann::ordered_json line = {{"scenario", _scenario},
                                         {"contestant", _contestant},
                                         {"parameters", parameters},
                                         {"metric", metric},
                                         {"unit", unit},
                                         {"value", value}};
    if (std::printf("%s\n", line.dump().c_str()) < 0 || std::fflush(stdout) != 0)
    {
        throw std::runtime_error("a figure cannot be written");
    }
}

double quantile(std::vector<int64_t>& samples, double fraction)
{
    if (samples.empty())
    {
        throw std::runtime_error("nothing has been measured");
    }
    const auto position = static_cast<size_t>(fraction * static_cast<double>(samples.size() - 1));
    const auto found = samples.begin() + static_cast<std::ptrdiff_t>(position);
    std::nth_element(samples.begin(), found, samples.end());
    return static_cast<double>(*found);
}

double meanOfMiddle(std::vector<int64_t>& samples)
{
    if (samples.empty())
    {
        throw std::runtime_error("nothing has been measured");
    }
    std::sort(samples.begin(), samples.end());
    const auto quarter = static_cast<std::ptrdiff_t>(samples.size() / 4);
    const double sum = std::accumulate(samples.begin() + quarter, samples.end() - quarter, 0.0);
    return sum / static_cast<double>(samples.end() - samples.begin() - 2 * quarter);
}

}  // namespace OrvBench
