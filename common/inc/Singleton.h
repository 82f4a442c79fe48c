#pragma once

namespace Orv
{

// Base of a class of which exactly one object exists, made at its first use.
// T befriends Singleton<T> and keeps its constructor private. Construction is guarded by the language; the object is
// destroyed by the exit handlers of the library that holds it.
template <typename T>
class Singleton
{
public:
    static T& instance()
    {
        static T theInstance;
        return theInstance;
    }

    virtual ~Singleton() = default;

    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

protected:
    Singleton() = default;
};

}  // namespace Orv
