// The first line is an expression, each further one, up to four, a DN. The verdict is held against the C library's own
// matcher; what is refused must have something that can be held against it. A DN counts up to 200 characters: the time
// of a match grows with the square of its length.
#include <regex.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <vector>

#include "FakeFramework.h"
#include "FuzzCheck.h"
#include "LegacySubscriptionFilter.h"
#include "Records.h"
#include "RegularExpression.h"

namespace
{

using OrvNbiNotificationService::LegacySubscriptionFilter;

const size_t DNS = 4;
const size_t DN_LENGTH = 200;

std::vector<std::string> linesOf(const uint8_t* data, size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    for (char& c : text)
    {
        c = c == '\0' ? '0' : c;
    }
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; lines.size() <= DNS && std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    lines.resize(std::max<size_t>(lines.size(), 1));
    return lines;
}

// By the C library alone.
class Expected
{
public:
    explicit Expected(const std::string& expression)
        : _usable(regcomp(&_compiled, expression.c_str(), REG_EXTENDED) == 0)
    {
    }
    ~Expected()
    {
        if (_usable)
        {
            regfree(&_compiled);
        }
    }

    bool usable() const { return _usable; }
    bool reachesTheEnd(const std::string& subject) const
    {
        regmatch_t place;
        return _usable && regexec(&_compiled, subject.c_str(), 1, &place, 0) == 0 &&
               place.rm_eo == static_cast<regoff_t>(subject.size());
    }

    Expected(const Expected&) = delete;
    Expected& operator=(const Expected&) = delete;

private:
    regex_t _compiled;
    const bool _usable;
};

// Repeats nothing, refers to nothing and is within the limits however they are counted: if it compiles, it is to be
// taken.
bool isHarmless(const std::string& expression)
{
    const std::string special = "^$.[(|?";
    const auto isSpecial = [&](char c) { return special.find(c) != std::string::npos; };
    return expression.size() <= Orv::RegularExpression::MAX_LENGTH &&
           expression.find_first_of("*+{\\") == std::string::npos &&
           std::count_if(expression.begin(), expression.end(), isSpecial) <= Orv::RegularExpression::MAX_ANCHORS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static OrvTest::FakeFramework& framework = *new OrvTest::FakeFramework;
    static const OrvTest::CommonSession& session = *new OrvTest::CommonSession(framework);
    (void)session;

    const std::vector<std::string> lines = linesOf(data, size);
    const std::string& expression = lines.front();
    const OrvTest::LegacyFilter pairs({{"objectCreated", expression}});
    LegacySubscriptionFilter filter(pairs.get());
    const bool refused = !framework.lines().empty();
    framework.log().clear();
    if (refused)
    {
        OrvFuzz::check(!isHarmless(expression) || !Expected(expression).usable(), "a harmless expression is refused");
        for (size_t i = 1; i < lines.size(); ++i)
        {
            OrvFuzz::check(!filter.match(*OrvTest::makeNotification(1, lines[i], objectCreated)),
                           "a refused expression has matched");
        }
        return 0;
    }

    const Expected expected(expression);
    for (size_t i = 1; i < lines.size(); ++i)
    {
        const std::string dn = lines[i].substr(0, DN_LENGTH);
        const bool passes = expected.reachesTheEnd(dn) || expected.reachesTheEnd(dn + ",");
        OrvFuzz::check(filter.match(*OrvTest::makeNotification(1, dn, objectCreated)) == passes,
                       "a verdict that is not the C library's");
        OrvFuzz::check(!filter.match(*OrvTest::makeNotification(1, dn, objectDeleted)), "a wrong kind has matched");
    }
    return 0;
}
