#include "RegularExpression.h"

#include <algorithm>

#include "ExpressionCost.h"
#include "OrvThreadLock.h"

namespace Orv
{

namespace
{

// While it matches, the C library adds states to the compiled form, one at a character and without limit, and finds
// them the slower the more there are. They are its only use of memory, and making them is what takes time: so the
// compiled form is replaced after this much matching. For a cheap expression that is ten thousands of matches.
const std::chrono::milliseconds MATCHING_TIME(50);

bool isBearable(const ExpressionCost& cost)
{
    const size_t maxLength = cost.unlimited ? RegularExpression::MAX_LENGTH_UNLIMITED : RegularExpression::MAX_LENGTH;
    return cost.length <= maxLength && cost.operators <= RegularExpression::MAX_OPERATORS &&
           cost.anchors <= RegularExpression::MAX_ANCHORS && !cost.endlessNothing && !cost.backReference;
}

}  // namespace

RegularExpression::RegularExpression(const std::string& expression, int compileFlags)
    : _expression(expression), _compileFlags(compileFlags), _compiled(), _matching(), _valid(false)
{
    const ExpressionCost cost = expressionCost(expression, (compileFlags & REG_EXTENDED) != 0);
    if (!isBearable(cost))
    {
        return;
    }
    if (compileFlags == REG_EXTENDED)
    {
        _plain = PlainExpression(_expression.c_str(), cost.alternation);
    }
    _valid = regcomp(&_compiled, _expression.c_str(), compileFlags) == 0;
}

RegularExpression::~RegularExpression()
{
    if (_valid)
    {
        regfree(&_compiled);
    }
}

int RegularExpression::match(const char* subject, unsigned int maxMatches, regmatch_t* matches, int execFlags) const
{
    if (!_valid)
    {
        return 0;
    }
    const size_t places = matches != nullptr ? maxMatches : 0;
    regmatch_t whole;
    const PlainExpression::Answer answer =
        execFlags == 0 ? _plain.match(subject, whole) : PlainExpression::Answer::Unknown;
    if (answer == PlainExpression::Answer::Refused)
    {
        return 0;
    }
    if (answer == PlainExpression::Answer::Matched && places <= 1)
    {
        std::fill_n(matches, places, whole);
        return 1;
    }
    const OrvThreadLock<Poco::FastMutex> lock(_mutex);
    const Clock::time_point before = Clock::now();
    const int matched = regexec(&_compiled, subject, places, matches, execFlags) == 0 ? 1 : 0;
    _matching += Clock::now() - before;
    if (_matching > MATCHING_TIME)
    {
        compileAnew();
    }
    return matched;
}

// Without memory for a second one the old one stays, and is asked to go again after the next match.
void RegularExpression::compileAnew() const
{
    regex_t fresh;
    if (regcomp(&fresh, _expression.c_str(), _compileFlags) == 0)
    {
        regfree(&_compiled);
        _compiled = fresh;
        _matching = Clock::duration::zero();
    }
}

}  // namespace Orv
