#include "Plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace OrvStress
{

namespace
{

const double WIDTH = 900;
const double LEFT = 80;
const double PANEL = 160;
const double SPACING = 60;
const double TOP = 30;
const int LINES = 4;

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.4g", value);
    return text;
}

std::string label(double x, double y, const std::string& anchor, const std::string& words, const std::string& colour)
{
    return "<text x='" + number(x) + "' y='" + number(y) + "' text-anchor='" + anchor + "' fill='" + colour + "'>" +
           words + "</text>\n";
}

std::string line(double x1, double y1, double x2, double y2)
{
    return "<line x1='" + number(x1) + "' y1='" + number(y1) + "' x2='" + number(x2) + "' y2='" + number(y2) +
           "' stroke='#ccc'/>\n";
}

}  // namespace

void Plot::add(const std::string& title, bool logarithmic, std::vector<Curve> curves)
{
    _panels.push_back({title, logarithmic, std::move(curves)});
}

std::string Plot::drawn(const Panel& panel, double top) const
{
    double highest = 1;
    for (const Curve& curve : panel.curves)
    {
        for (const double value : curve.values)
        {
            highest = std::max(highest, value);
        }
    }
    const double decades = std::ceil(std::log10(highest));
    const double scale = panel.logarithmic ? std::max(1.0, decades) : highest;
    const auto height = [&](double value)
    { return top + PANEL * (1 - (panel.logarithmic ? std::log10(std::max(1.0, value)) : value) / scale); };
    const double end = _times.empty() ? 1 : std::max(_times.back(), 1e-9);
    const double right = LEFT + WIDTH;

    std::string text = label(LEFT, top - 8, "start", panel.title, "#000");
    const int lines = panel.logarithmic ? static_cast<int>(scale) : LINES;
    for (int i = 0; i <= lines; ++i)
    {
        const double value = panel.logarithmic ? std::pow(10, i) : highest * i / lines;
        text += line(LEFT, height(value), right, height(value));
        text += label(LEFT - 6, height(value) + 4, "end", number(value), "#555");
    }
    text += label(right, top + PANEL + 16, "end", number(end) + " minutes", "#555");
    double legend = right;
    for (const Curve& curve : panel.curves)
    {
        std::string points;
        for (size_t i = 0; i < curve.values.size() && i < _times.size(); ++i)
        {
            points += number(LEFT + WIDTH * _times[i] / end) + "," + number(height(curve.values[i])) + " ";
        }
        text += "<polyline fill='none' stroke='" + curve.colour + "' points='" + points + "'/>\n";
        text += label(legend, top - 8, "end", curve.name, curve.colour);
        legend -= 9 * static_cast<double>(curve.name.size()) + 20;
    }
    return text;
}

std::string Plot::svg() const
{
    const double height = TOP + (PANEL + SPACING) * static_cast<double>(_panels.size());
    std::string text = "<svg xmlns='http://www.w3.org/2000/svg' width='" + number(LEFT + WIDTH + 20) + "' height='" +
                       number(height) + "' font-family='sans-serif' font-size='12'>\n" +
                       "<rect width='100%' height='100%' fill='#fff'/>\n";
    double top = TOP;
    for (const Panel& panel : _panels)
    {
        text += drawn(panel, top);
        top += PANEL + SPACING;
    }
    return text + "</svg>\n";
}

}  // namespace OrvStress
