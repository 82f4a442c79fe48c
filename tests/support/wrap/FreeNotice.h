#pragma once

namespace OrvTest
{

// Tells whether this program's own objects give a block back with free, on the thread that made it. The leak sanitizer
// does not tell where an exception leaves the last function that knew the block: its frame keeps the pointer.
// One at a time per thread.
class FreeNotice
{
public:
    explicit FreeNotice(const void* block);
    ~FreeNotice();

    bool isFreed() const { return _freed; }

    void meet(const void* block);

    FreeNotice(const FreeNotice&) = delete;
    FreeNotice& operator=(const FreeNotice&) = delete;

private:
    const void* const _block;
    bool _freed;
};

}  // namespace OrvTest
