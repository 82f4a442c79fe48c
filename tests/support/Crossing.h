#pragma once

namespace OrvTest
{

// On which side of the published interfaces this thread is. A thread starts in the tests' own code; a call into the
// service crosses over, and a call back crosses over again, for as long as the object lives. So that what the service
// does can be told from what a fake or a handler does on the same thread.
class Crossing
{
public:
    enum Side
    {
        toTest,
        toService
    };

    explicit Crossing(Side side);
    ~Crossing();

    // For a thread that the service has made: from its beginning.
    static void startIn(Side side);
    static Side side();

    Crossing(const Crossing&) = delete;
    Crossing& operator=(const Crossing&) = delete;

private:
    const Side _from;
};

}  // namespace OrvTest
