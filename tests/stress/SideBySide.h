#pragma once

namespace OrvStress
{

// One subscriber that never returns, one that always asks for a retry, and one that always throws, each beside eight
// that take everything at once, and compared with a ninth of these: what the producer's calls take in a burst, and how
// long the records of a steady load take to the eight. The four cases take turns in every round of one run. Prints a
// table; gives the largest ratio of a case to the ninth good subscriber.
double measureSideBySide(unsigned int rounds);

}  // namespace OrvStress
