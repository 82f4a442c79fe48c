#pragma once

#include <cassert>
#include <string>

#include "OrvException.h"
#include "OrvOamSpiModelRepository_2.h"

namespace Orv
{

// A view of the model repository: classes, their attributes, and what is known of each attribute.
// Threads:   any; nothing is kept but handles.
// Ownership: handles and names are the framework's.
// Failure:   a failure code of the repository, or no repository at all, is an Orv::OrvException.
namespace ModRepWrap
{

// The repository's table, or null (after a warning) if the framework has none.
OrvOamSpiModelRepository_2* spi();

// The table; throws Orv::OrvException if there is none.
OrvOamSpiModelRepository_2& requireSpi();

// Throws Orv::OrvException for every code but OrvOk.
void verifyModelRepositoryRetCode(OrvReturnT code);

// All bits set means none.
inline void nullHandle(uint64_t& handle)
{
    handle = ~uint64_t(0);
}
inline bool isHandleNull(uint64_t handle)
{
    return handle == ~uint64_t(0);
}

// One attribute of a class.
class AttrDescriptor
{
public:
    explicit AttrDescriptor(OrvOamSpiAttributeHandleT handle) : _handle(handle) {}
    std::string getName() const;
    bool isNotifiable() const;

private:
    OrvOamSpiAttributeHandleT _handle;
};

namespace Private
{

// Walks a chain of handles with the repository's function that gives the next one.
template <typename HandleT, typename DescriptorT>
class StandardSpiIteratorFacade
{
public:
    typedef OrvReturnT (*NextFunction)(HandleT handle, HandleT* next);

    // The end.
    StandardSpiIteratorFacade() : _last(true), _next(nullptr) { nullHandle(_handle); }
    StandardSpiIteratorFacade(HandleT first, NextFunction next) : _handle(first), _last(false), _next(next) {}

    DescriptorT operator*() const { return DescriptorT(_handle); }

    StandardSpiIteratorFacade& operator++()
    {
        assert(!_last);
        HandleT following;
        nullHandle(following);
        const OrvReturnT code = _next(_handle, &following);
        if (code == OrvNotFound)
        {
            _last = true;
        }
        else
        {
            verifyModelRepositoryRetCode(code);
            _handle = following;
        }
        return *this;
    }

    bool operator==(const StandardSpiIteratorFacade& other) const
    {
        return (_last && other._last) || (!_last && !other._last && _handle == other._handle);
    }
    bool operator!=(const StandardSpiIteratorFacade& other) const { return !(*this == other); }

private:
    HandleT _handle;
    bool _last;
    NextFunction _next;
};

}  // namespace Private

typedef Private::StandardSpiIteratorFacade<OrvOamSpiAttributeHandleT, AttrDescriptor> AttributeIterator;

// A class of managed objects.
class Moc
{
public:
    explicit Moc(OrvOamSpiMocHandleT handle) : _handle(handle) {}
    OrvOamSpiMocHandleT getHandle() const { return _handle; }
    std::string getName() const;
    AttributeIterator attributesBegin() const;
    AttributeIterator attributesEnd() const { return AttributeIterator(); }

private:
    OrvOamSpiMocHandleT _handle;
};

// The way into the model.
class Entry
{
public:
    // The class of the object with this DN, with a null handle if the model has no such class.
    Moc getMocFromDn(const std::string& dn) const;
};

}  // namespace ModRepWrap
}  // namespace Orv
