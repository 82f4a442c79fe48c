#include "AutoMemory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "AllocationFault.h"
#include "FreeNotice.h"

using namespace OrvTest;

namespace
{

struct Counted
{
    ~Counted() { ++deleted; }
    static inline unsigned int deleted = 0;
};
typedef Orv::AutoMemory::OwnedObj<Counted> OwnedCounted;

class AutoMemory : public testing::Test
{
protected:
    AutoMemory() { Counted::deleted = 0; }
};

TEST_F(AutoMemory, DeletesItsObjectsThroughTheirRootAndFreesItsBlocks)
{
    Orv::AutoMemory memory;
    memory.addBlock(std::calloc(4, 8));
    memory.addBlock(std::calloc(1, 8));
    memory.addObject(new OwnedCounted);
    memory.addObject(new OwnedCounted);
    memory.clear();
    EXPECT_EQ(Counted::deleted, 2u);
    EXPECT_TRUE(memory._blocks.empty());
    EXPECT_TRUE(memory._objects.empty());
}

TEST_F(AutoMemory, ClearsItselfAtItsEnd)
{
    {
        Orv::AutoMemory memory;
        memory.addBlock(std::calloc(4, 8));
        memory.addObject(new OwnedCounted);
    }
    EXPECT_EQ(Counted::deleted, 1u);
}

TEST_F(AutoMemory, CanBeUsedAgainAfterItWasCleared)
{
    Orv::AutoMemory memory;
    memory.addObject(new OwnedCounted);
    memory.clear();
    memory.addObject(new OwnedCounted);
    memory.clear();
    EXPECT_EQ(Counted::deleted, 2u);
}

TEST_F(AutoMemory, HandsAnObjectOutAsWhatItIs)
{
    Orv::AutoMemory memory;
    OwnedCounted* const owned = new OwnedCounted;
    memory.addObject(owned);
    Counted* const counted = owned;
    EXPECT_EQ(static_cast<OwnedCounted*>(counted), owned);
}

// A node of either list holds two links and the pointer.
const size_t LIST_NODE = 3 * sizeof(void*);

TEST_F(AutoMemory, FreesABlockThatItCannotTake)
{
    Orv::AutoMemory memory;
    void* const block = std::calloc(4, 8);
    const FreeNotice notice(block);
    AllocationFault fault(LIST_NODE, [] { throw std::bad_alloc(); });
    EXPECT_THROW(memory.addBlock(block), std::bad_alloc);
    EXPECT_TRUE(notice.isFreed());
    EXPECT_TRUE(memory._blocks.empty());
}

TEST_F(AutoMemory, DeletesAnObjectThatItCannotTake)
{
    Orv::AutoMemory memory;
    OwnedCounted* const owned = new OwnedCounted;
    AllocationFault fault(LIST_NODE, [] { throw std::bad_alloc(); });
    EXPECT_THROW(memory.addObject(owned), std::bad_alloc);
    EXPECT_EQ(Counted::deleted, 1u);
    EXPECT_TRUE(memory._objects.empty());
}

}  // namespace
