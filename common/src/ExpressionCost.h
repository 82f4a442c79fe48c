#pragma once

#include <cstddef>
#include <string>

namespace Orv
{

// What a regular expression asks of the C library's compiler and matcher, told from its text alone.
//
// Counted is the expression as the compiler writes it out: what stands under {m,n} n times, under {m,} m + 1 times,
// under + twice. Whatever regcomp refuses anyway need not be counted right.
struct ExpressionCost
{
    // Counts beyond this are not told apart.
    static constexpr size_t MANY = size_t{1} << 20;

    size_t length = 0;  // plain characters, brackets as one each, and operators
    // . [ ( | ^ $ * + ? and escapes like \w or \< count one each; what stands under {m,n} counts at least one.
    size_t operators = 0;
    // ^ $ \b \B \< \> \` \' on the dearest way through the expression: those of branches are not added up.
    size_t anchors = 0;
    bool endlessNothing = false;  // * or + or {m,} repeats something that can be empty; an anchor is empty
    bool unlimited = false;       // it has * or + or {m,}
    bool backReference = false;   // \1 to \9
    bool alternation = false;     // | outside of groups
};

// extended: the syntax, as REG_EXTENDED says. The expression ends at its first NUL.
ExpressionCost expressionCost(const std::string& expression, bool extended);

}  // namespace Orv
