// Reading the managed objects: transactions, attribute values and the model behind the subtree filters.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelOamSpiMoAttributeValue_3.h"
#include "ZelTypes.h"

// Access modes of openTransaction.
enum : unsigned int
{
    ZelOamSpiTransactionRead_2 = 1
};

// "ZelOamSpiTransactionService" / "ZelOamSpiTransactionMaster" / "2". All operations return 0 on success.
struct ZelOamSpiTransactionMaster_2
{
    ZelMgmtSpiInterface_1 id;
    // timeout: seconds after which a transaction left open may be reclaimed.
    ZelReturnT (*openTransaction)(unsigned int mode, unsigned int timeout, unsigned long* transaction);
    void (*reserved2)(void);
    ZelReturnT (*closeTransaction)(unsigned long transaction);
};

// "ZelOamSpiCmRouterService" / "ZelOamSpiManagedObject" / "3".
struct ZelOamSpiManagedObject_3
{
    ZelMgmtSpiInterface_1 id;
    void (*reserved1)(void);
    // 0 on success. What result points to is the framework's and valid until the transaction ends.
    ZelReturnT (*getMoAttribute)(unsigned long transaction, const char* dn, const char* attributeName,
                                 ZelMoAttributeValueResult_3* result);
};

// The sub-tables of the model repository of version "3". They have no head. Handles are 64-bit.
struct ZelOamSpiModelRepositoryMoc_3
{
    void (*reserved1)(void);
    void (*reserved2)(void);
    ZelReturnT (*getMocFromDn)(const char* dn, unsigned int selector, uint64_t* moc);
};

struct ZelOamSpiModelRepositoryProperties_3
{
    // selector 0: the name
    ZelReturnT (*getPropertyText)(uint64_t properties, unsigned int selector, const char** text);
};

struct ZelOamSpiModelRepositoryClass_3
{
    void (*reserved1)(void);
    void (*reserved2)(void);
    void (*reserved3)(void);
    void (*reserved4)(void);
    void (*reserved5)(void);
    ZelReturnT (*getFirstAttribute)(uint64_t moc, uint64_t* attribute);
};

struct ZelOamSpiModelRepositoryAttribute_3
{
    ZelReturnT (*getGeneralProperties)(uint64_t attribute, uint64_t* properties);
    void (*reserved2)(void);
    void (*reserved3)(void);
    ZelReturnT (*getNextAttribute)(uint64_t attribute, uint64_t* next);
    void (*reserved5)(void);
    // selector 0: is the attribute the key of its class
    ZelReturnT (*getAttributeFlag)(uint64_t attribute, unsigned int selector, bool* flag);
};

// "ZelOamSpiModelRepositoryService" / "ZelOamSpiModelRepository" / "3".
struct ZelOamSpiModelRepository_3
{
    ZelMgmtSpiInterface_1 id;
    const ZelOamSpiModelRepositoryMoc_3* t1;
    const ZelOamSpiModelRepositoryProperties_3* t2;
    const void* t3;
    const ZelOamSpiModelRepositoryClass_3* t4;
    const void* t5;
    const void* t6;
    const void* t7;
    const void* t8;
    const ZelOamSpiModelRepositoryAttribute_3* t9;
};

static_assert(offsetof(ZelOamSpiTransactionMaster_2, openTransaction) == 24, "transaction master: function 1");
static_assert(offsetof(ZelOamSpiTransactionMaster_2, closeTransaction) == 40, "transaction master: function 3");
static_assert(offsetof(ZelOamSpiManagedObject_3, getMoAttribute) == 32, "managed object: function 2");
static_assert(offsetof(ZelOamSpiModelRepositoryMoc_3, getMocFromDn) == 16, "sub-table 1: function 3");
static_assert(offsetof(ZelOamSpiModelRepositoryProperties_3, getPropertyText) == 0, "sub-table 2: function 1");
static_assert(offsetof(ZelOamSpiModelRepositoryClass_3, getFirstAttribute) == 40, "sub-table 4: function 6");
static_assert(offsetof(ZelOamSpiModelRepositoryAttribute_3, getGeneralProperties) == 0, "sub-table 9: function 1");
static_assert(offsetof(ZelOamSpiModelRepositoryAttribute_3, getNextAttribute) == 24, "sub-table 9: function 4");
static_assert(offsetof(ZelOamSpiModelRepositoryAttribute_3, getAttributeFlag) == 40, "sub-table 9: function 6");
static_assert(offsetof(ZelOamSpiModelRepository_3, t1) == 24, "model repository 3: sub-table 1");
static_assert(offsetof(ZelOamSpiModelRepository_3, t2) == 32, "model repository 3: sub-table 2");
static_assert(offsetof(ZelOamSpiModelRepository_3, t4) == 48, "model repository 3: sub-table 4");
static_assert(offsetof(ZelOamSpiModelRepository_3, t9) == 88, "model repository 3: nine sub-tables");
