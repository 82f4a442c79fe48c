#include "RegularExpression.h"

#include <algorithm>

namespace Orv
{

namespace
{

bool isSafeToCompile(const std::string& expression)
{
    const std::string recursing("(*+?{^$");
    return std::count_if(expression.begin(), expression.end(),
                         [&](char c)
                         { return recursing.find(c) != std::string::npos; }) <= RegularExpression::MAX_OPERATORS;
}

}  // namespace

RegularExpression::RegularExpression(const std::string& expression, int compileFlags)
    : _compiled(), _valid(isSafeToCompile(expression) && regcomp(&_compiled, expression.c_str(), compileFlags) == 0)
{
}

RegularExpression::~RegularExpression()
{
    if (_valid)
    {
        regfree(&_compiled);
    }
}

int RegularExpression::match(const std::string& subject, unsigned int maxMatches, regmatch_t* matches,
                             int execFlags) const
{
    if (!_valid)
    {
        return 0;
    }
    const size_t places = matches != nullptr ? maxMatches : 0;
    return regexec(&_compiled, subject.c_str(), places, matches, execFlags) == 0 ? 1 : 0;
}

}  // namespace Orv
