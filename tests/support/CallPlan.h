#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace OrvTest
{

// What was called of a fake, in which order, and which calls have been told to fail.
// A call has a name ("registerConsumer"), or a name and what it is asked for ("portal1.getInterface:OrvMwSpiLog").
// Threads: any.
class CallPlan
{
public:
    // The nth call of this name from the start of the test (1 is the first) answers code and does nothing else.
    void fail(const std::string& name, unsigned int nth, int code);
    // Every call of this name answers code and does nothing else.
    void failAlways(const std::string& name, int code);
    // Takes both back.
    void succeed(const std::string& name);

    // From now on the function is asked at every call, on the calling thread and before anything else that was planned:
    // 0, or what the call is to answer. Null takes it back, and waits for calls of it that are under way: the function
    // itself must not do that.
    typedef std::function<int(const std::string& name)> Interceptor;
    void intercept(Interceptor interceptor);

    // Runs the action at the start of every call of this name, on the calling thread. Null takes it back.
    void whenCalled(const std::string& name, std::function<void()> action);

    // Notes a call. 0: go on; any other number: the answer that was planned for it.
    int enter(const std::string& name);
    // The same for a call that is neither noted nor counted, and that the interceptor alone can plan for.
    int pass(const std::string& name);

    unsigned int count(const std::string& name) const;
    // The names of all calls so far, oldest first.
    std::vector<std::string> calls() const;
    void clearCalls();

private:
    mutable std::mutex _mutex;
    Interceptor _interceptor;
    unsigned int _intercepting = 0;
    std::condition_variable _intercepted;
    std::map<std::string, unsigned int> _counts;
    std::map<std::string, std::map<unsigned int, int>> _failures;
    std::map<std::string, int> _permanentFailures;
    std::map<std::string, std::function<void()>> _actions;
    std::vector<std::string> _calls;
};

}  // namespace OrvTest
