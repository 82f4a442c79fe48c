#include "FreeNotice.h"

namespace OrvTest
{

namespace
{

thread_local FreeNotice* freeNotice = nullptr;

}  // namespace

FreeNotice::FreeNotice(const void* block) : _block(block), _freed(false)
{
    freeNotice = this;
}

FreeNotice::~FreeNotice()
{
    freeNotice = nullptr;
}

void FreeNotice::meet(const void* block)
{
    _freed = _freed || block == _block;
}

}  // namespace OrvTest

// The names are the linker's.
extern "C"
{
    void __real_free(void* block);

    void __wrap_free(void* block)
    {
        if (OrvTest::freeNotice != nullptr)
        {
            OrvTest::freeNotice->meet(block);
        }
        __real_free(block);
    }
}
