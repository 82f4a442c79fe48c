// Attribute values as the framework passes them: plain records, owned by whoever made them.
#pragma once

#include <cstddef>
#include <cstdint>

// Type code of a value. Not an enumeration: codes outside the list must be passable.
typedef int32_t ZelOamSpiMoAttributeType_3;

enum : ZelOamSpiMoAttributeType_3
{
    ZelMoAttributeInt8_3 = 1,
    ZelMoAttributeInt16_3 = 2,
    ZelMoAttributeInt32_3 = 3,
    ZelMoAttributeInt64_3 = 4,
    ZelMoAttributeUint8_3 = 5,
    ZelMoAttributeUint16_3 = 6,
    ZelMoAttributeUint32_3 = 7,
    ZelMoAttributeUint64_3 = 8,
    ZelMoAttributeString_3 = 9,
    ZelMoAttributeBoolean_3 = 10,
    ZelMoAttributeReference_3 = 11,
    ZelMoAttributeEnumeration_3 = 12,
    ZelMoAttributeStruct_3 = 13,
    ZelMoAttributeReserved14_3 = 14,
    ZelMoAttributeReserved15_3 = 15,
    ZelMoAttributeDouble_3 = 16
};

struct ZelMoStructMember_3;

// One value. The container's type code says which member is valid.
union ZelMoAttributeValue_3
{
    int8_t i8;
    int16_t i16;
    int32_t i32;
    int64_t i64;
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    const char* str;
    uint8_t boolean;
    const char* ref;
    int64_t enumeration;
    double f64;
    ZelMoStructMember_3* structMembers;  // head of the list of members; the list ends with a null next
};

// The values of an attribute or of a struct member.
struct ZelMoAttributeValueContainer_3
{
    ZelOamSpiMoAttributeType_3 type;
    uint32_t noOfValues;
    ZelMoAttributeValue_3* values;
};

// An attribute: its name and its values.
struct ZelMoNamedAttributeValueContainer_3
{
    const char* name;
    ZelOamSpiMoAttributeType_3 type;
    uint32_t noOfValues;
    ZelMoAttributeValue_3* values;
};

// One member of a struct value.
struct ZelMoStructMember_3
{
    char* memberName;
    ZelMoAttributeValueContainer_3* memberValue;
    ZelMoStructMember_3* next;
};

// The result of an attribute read. It belongs to the framework and is valid until its transaction ends.
struct ZelMoAttributeValueResult_3
{
    int32_t status;
    ZelMoAttributeValueContainer_3* value;
};

static_assert(sizeof(ZelMoAttributeValue_3) == 8, "a value is eight bytes");
static_assert(sizeof(ZelMoAttributeValueContainer_3) == 16, "the container is fixed");
static_assert(sizeof(ZelMoNamedAttributeValueContainer_3) == 24, "the named container is fixed");
static_assert(offsetof(ZelMoAttributeValueResult_3, value) == 8, "the read result is fixed");
