#pragma once

#include <functional>
#include <string>
#include <vector>

namespace OrvTest
{

// While it lives, notes which of the wrapped operations of Poco::ThreadPool this program's own objects call: "joinAll",
// "stopAll", "available". One at a time.
class PoolCalls
{
public:
    PoolCalls();
    ~PoolCalls();

    // Called in place of the next joinAll or stopAll; it may throw, whatever it likes.
    void instead(const std::string& operation, std::function<void()> action);
    std::vector<std::string> calls() const;

    PoolCalls(const PoolCalls&) = delete;
    PoolCalls& operator=(const PoolCalls&) = delete;
};

}  // namespace OrvTest
