#pragma once

#include "Oracle.h"
#include "Records.h"
#include "SubtreeBuilder.h"

namespace OrvStress
{

// A selection as the two kinds of filters say it.
OrvTest::LegacyFilter filterOf(const Selection& selection);

// One tree for each producer that is wanted. The selection must want all types; the shape is one with trees.
OrvTest::Trees treesOf(const Selection& selection, Shape shape);

}  // namespace OrvStress
