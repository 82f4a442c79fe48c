#pragma once

namespace OrvBench
{

// Loads the component far enough for its filters to read the model through a portal: every attribute of every object is
// a boolean that is true, and is answered at once, so the framework's own cost is not in the figures. Nothing is
// registered and nothing runs. To be called once, before the first benchmark.
void loadConstantFramework();

// Transactions that are open.
unsigned long openTransactions();

}  // namespace OrvBench
