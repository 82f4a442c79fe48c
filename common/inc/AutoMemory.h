#pragma once

#include <cstdlib>
#include <list>

namespace Orv
{

// Owns blocks from calloc and objects, for C-style structures that are built piece by piece and released at once.
// Threads:   one at a time.
// Ownership: what is added belongs to this object, also when adding it throws.
class AutoMemory
{
public:
    // Root of an object that can be owned.
    class OwnedObjBase
    {
    public:
        virtual ~OwnedObjBase() = default;
    };

    // Lets an object be handed out as a T while AutoMemory keeps the owning pointer.
    template <typename T>
    class OwnedObj : public OwnedObjBase, public T
    {
    };

    AutoMemory() = default;
    virtual ~AutoMemory() { clear(); }

    void addBlock(void* block)
    {
        try
        {
            _blocks.push_back(block);
        }
        catch (...)
        {
            std::free(block);
            throw;
        }
    }

    void addObject(OwnedObjBase* object)
    {
        try
        {
            _objects.push_back(object);
        }
        catch (...)
        {
            delete object;
            throw;
        }
    }

    void clear()
    {
        for (void* block : _blocks)
        {
            std::free(block);
        }
        _blocks.clear();
        for (OwnedObjBase* object : _objects)
        {
            delete object;
        }
        _objects.clear();
    }

    AutoMemory(const AutoMemory&) = delete;
    AutoMemory& operator=(const AutoMemory&) = delete;

private:
    std::list<void*> _blocks;
    std::list<OwnedObjBase*> _objects;
};

}  // namespace Orv
