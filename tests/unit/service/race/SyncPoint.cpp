#include "SyncPoint.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "RecordingHandler.h"

namespace OrvTest
{

namespace
{

const std::chrono::seconds TIMEOUT(RecordingHandler::TIMEOUT_SECONDS);

// Whether this thread's latest trace came from the function.
bool tracedLastIn(const std::string& function, const std::vector<LogLine>& lines)
{
    const auto last = std::find_if(
        lines.rbegin(), lines.rend(),
        [](const LogLine& line) { return line.source == LogLine::trace && line.thread == std::this_thread::get_id(); });
    return last != lines.rend() && last->function == function;
}

}  // namespace

struct SyncPoint::State
{
    std::mutex mutex;
    std::condition_variable changed;
    bool held = false;
    bool open = false;
};

SyncPoint::SyncPoint(FakeFramework& framework, const std::string& function, const std::string& text)
    : _framework(framework), _state(std::make_shared<State>())
{
    const std::shared_ptr<State> state = _state;
    framework.log().whenLine(LogLine::trace, text,
                             [&framework, state, function]
                             {
                                 if (!tracedLastIn(function, framework.lines()))
                                 {
                                     return;
                                 }
                                 std::unique_lock<std::mutex> lock(state->mutex);
                                 if (!state->held)
                                 {
                                     state->held = true;
                                     state->changed.notify_all();
                                     state->changed.wait_for(lock, TIMEOUT, [&] { return state->open; });
                                 }
                             });
    framework.setLevel(8);
}

SyncPoint::~SyncPoint()
{
    _framework.log().whenLine(LogLine::trace, "", nullptr);
    _framework.setLevel(6);
    release();
}

bool SyncPoint::waitUntilHeld() const
{
    std::unique_lock<std::mutex> lock(_state->mutex);
    return _state->changed.wait_for(lock, TIMEOUT, [this] { return _state->held; });
}

void SyncPoint::release()
{
    const std::lock_guard<std::mutex> lock(_state->mutex);
    _state->open = true;
    _state->changed.notify_all();
}

}  // namespace OrvTest
