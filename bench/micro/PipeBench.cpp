// The hand-over of messages to the service thread, both ends on one thread: the cost of the queue and of its wake-up
// without that of a switch between threads.
#include <benchmark/benchmark.h>

#include "PipeMessage.h"
#include "ThreadWPipes.h"

namespace
{

// A batch of messages in, all of them out at once. The messages themselves are made and freed by it, too.
void BM_ThreadWPipes_PushAndPop(benchmark::State& state)
{
    Orv::ThreadWPipes thread;
    const int64_t batch = state.range(0);
    for (auto _ : state)
    {
        for (int64_t i = 0; i < batch; ++i)
        {
            thread.pushToInput(new Orv::PipeMessage(Orv::MessageTypeNotification));
        }
        for (const Orv::PipeMessage* message : thread.popFromInput())
        {
            delete message;
        }
    }
    state.SetItemsProcessed(state.iterations() * batch);
}
BENCHMARK(BM_ThreadWPipes_PushAndPop)->ArgName("batch")->Arg(1)->Arg(64);

}  // namespace
