#pragma once

#include <string>
#include <vector>

namespace OrvStress
{

// Curves over time as an SVG picture: panels one below the other, each with a scale of its own.
class Plot
{
public:
    struct Curve
    {
        std::string name;
        std::string colour;
        std::vector<double> values;  // one for each time
    };

    // times: ascending, in minutes.
    explicit Plot(std::vector<double> times) : _times(std::move(times)) {}

    // logarithmic: by powers of ten from 1 on.
    void add(const std::string& title, bool logarithmic, std::vector<Curve> curves);
    std::string svg() const;

private:
    struct Panel
    {
        std::string title;
        bool logarithmic;
        std::vector<Curve> curves;
    };

    std::string drawn(const Panel& panel, double top) const;

    std::vector<double> _times;
    std::vector<Panel> _panels;
};

}  // namespace OrvStress
