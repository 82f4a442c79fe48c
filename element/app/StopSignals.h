#pragma once

namespace OrvElement
{

// SIGINT and SIGTERM as something to poll for. Construct it before any thread: it blocks the signals, and threads
// inherit that. SIGPIPE is ignored, so that a reader that went away shows as a failed write.
// Threads: requestStop from any; the rest on the thread that constructed it.
// Failure: ElementError if there is no descriptor left.
class StopSignals
{
public:
    StopSignals();
    ~StopSignals();

    // Readable once a signal has come or a stop has been requested, from then on.
    int descriptor() const { return _epollFd; }

    // Has a signal come or a stop been requested?
    bool stopped() const;

    void requestStop();

    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    void closeAll();

    int _signalFd;
    int _requestFd;
    int _epollFd;  // the other two in one
};

}  // namespace OrvElement
