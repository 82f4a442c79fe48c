#include "CallPlan.h"

namespace OrvTest
{

void CallPlan::fail(const std::string& name, unsigned int nth, int code)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _failures[name][nth] = code;
}

void CallPlan::failAlways(const std::string& name, int code)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _permanentFailures[name] = code;
}

void CallPlan::succeed(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _failures.erase(name);
    _permanentFailures.erase(name);
}

void CallPlan::whenCalled(const std::string& name, std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _actions[name] = std::move(action);
}

void CallPlan::intercept(Interceptor interceptor)
{
    std::unique_lock<std::mutex> lock(_mutex);
    _interceptor = std::move(interceptor);
    if (!_interceptor)
    {
        _intercepted.wait(lock, [this] { return _intercepting == 0; });
    }
}

int CallPlan::pass(const std::string& name)
{
    Interceptor interceptor;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (!_interceptor)
        {
            return 0;
        }
        interceptor = _interceptor;
        ++_intercepting;
    }
    const int answer = interceptor(name);
    const std::lock_guard<std::mutex> lock(_mutex);
    --_intercepting;
    _intercepted.notify_all();
    return answer;
}

int CallPlan::enter(const std::string& name)
{
    const int intercepted = pass(name);
    std::unique_lock<std::mutex> lock(_mutex);
    const unsigned int number = ++_counts[name];
    _calls.push_back(name);

    const auto action = _actions.find(name);
    if (action != _actions.end() && action->second)
    {
        const std::function<void()> run = action->second;
        lock.unlock();
        run();
        lock.lock();
    }

    if (intercepted != 0)
    {
        return intercepted;
    }
    const auto permanent = _permanentFailures.find(name);
    if (permanent != _permanentFailures.end())
    {
        return permanent->second;
    }
    const auto planned = _failures.find(name);
    if (planned == _failures.end())
    {
        return 0;
    }
    const auto code = planned->second.find(number);
    return code == planned->second.end() ? 0 : code->second;
}

unsigned int CallPlan::count(const std::string& name) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _counts.find(name);
    return found == _counts.end() ? 0 : found->second;
}

std::vector<std::string> CallPlan::calls() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _calls;
}

void CallPlan::clearCalls()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _calls.clear();
}

}  // namespace OrvTest
