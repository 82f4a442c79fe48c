#include "SubscriptionSpec.h"

#include <regex.h>

#include "ElementError.h"
#include "RegularExpression.h"
#include "TimeText.h"

namespace OrvElement
{

namespace
{

const int64_t MICROSECONDS = 1000000;
const char* const KINDS[] = {"objectCreated", "objectDeleted", "attributeChanged"};

std::vector<std::string> splitAtSemicolons(const std::string& text)
{
    std::vector<std::string> parts(1);
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == ';')
        {
            parts.back() += text[++i];
        }
        else if (text[i] == ';')
        {
            parts.emplace_back();
        }
        else
        {
            parts.back() += text[i];
        }
    }
    return parts;
}

// The name stands in every line of output: it must be one plain word.
std::string parseName(const std::string& value)
{
    const bool plain = value.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-") ==
                       std::string::npos;
    if (value.empty() || !plain)
    {
        throw ElementError("name \"" + value + "\" is not made of letters, digits, '_', '.' and '-'");
    }
    return value;
}

void addFilter(const std::string& value, SubscriptionSpec& spec)
{
    const size_t colon = value.find(':');
    if (colon == std::string::npos)
    {
        throw ElementError("filter \"" + value + "\" is not of the form KIND:EXPRESSION");
    }
    const std::string kind = value.substr(0, colon);
    const std::string expression = value.substr(colon + 1);
    if (!Orv::RegularExpression(expression, REG_EXTENDED).isExpressionValid())
    {
        throw ElementError("\"" + expression + "\" is no regular expression");
    }
    bool known = false;
    for (const char* candidate : KINDS)
    {
        if (kind == "any" || kind == candidate)
        {
            spec.filters.emplace_back(candidate, expression);
            known = true;
        }
    }
    if (!known)
    {
        throw ElementError("\"" + kind +
                           "\" is no kind of filter: objectCreated, objectDeleted, attributeChanged or any");
    }
}

int64_t parseHeartbeat(const std::string& value)
{
    const bool isNumber =
        !value.empty() && value.size() <= 7 && value.find_first_not_of("0123456789") == std::string::npos;
    const int64_t seconds = isNumber ? std::stoll(value) : 0;
    if (seconds < 1 || seconds > SubscriptionSpec::MAX_HEARTBEAT)
    {
        throw ElementError("heartbeat \"" + value + "\" is not a number of seconds from 1 to " +
                           std::to_string(SubscriptionSpec::MAX_HEARTBEAT));
    }
    return seconds;
}

int64_t parseStopTime(const std::string& value, int64_t now)
{
    const int64_t time = parseTime(value, now);
    if ((time - now) / MICROSECONDS >= SubscriptionSpec::MAX_TIME_TO_STOP)
    {
        throw ElementError("stop time " + value + " is more than " +
                           std::to_string(SubscriptionSpec::MAX_TIME_TO_STOP) + " seconds ahead");
    }
    return time;
}

void setPart(const std::string& part, int64_t now, SubscriptionSpec& spec)
{
    const size_t equals = part.find('=');
    const std::string key = part.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : part.substr(equals + 1);
    if (key == "name" && spec.name.empty())
    {
        spec.name = parseName(value);
    }
    else if (key == "filter")
    {
        addFilter(value, spec);
    }
    else if (key == "subtree" && !value.empty())
    {
        spec.subtrees.push_back(value);
    }
    else if (key == "start" && spec.startTime == 0)
    {
        spec.startTime = parseTime(value, now);
    }
    else if (key == "stop" && spec.stopTime == 0)
    {
        spec.stopTime = parseStopTime(value, now);
    }
    else if (key == "heartbeat" && spec.heartbeat == 0)
    {
        spec.heartbeat = parseHeartbeat(value);
    }
    else
    {
        throw ElementError("\"" + part + "\" is unknown, empty or given twice");
    }
}

}  // namespace

SubscriptionSpec SubscriptionSpec::parse(const std::string& text, int64_t now)
{
    try
    {
        SubscriptionSpec spec;
        for (const std::string& part : splitAtSemicolons(text))
        {
            setPart(part, now, spec);
        }
        if (spec.name.empty())
        {
            throw ElementError("it has no name");
        }
        if (!spec.filters.empty() && !spec.subtrees.empty())
        {
            throw ElementError("it has filters of both forms, \"filter\" and \"subtree\"");
        }
        return spec;
    }
    catch (const ElementError& e)
    {
        throw ElementError("subscription \"" + text + "\": " + e.what());
    }
}

}  // namespace OrvElement
