#include "MoUtils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "AllocationHook.h"
#include "OrvException.h"

namespace
{

typedef ZelMoNamedAttributeValueContainer_3 Container;
typedef ZelMoAttributeValue_3 Value;
typedef ZelMoAttributeValueContainer_3 MemberValue;
typedef ZelMoStructMember_3 Member;

struct Release
{
    void operator()(Container* container) const { Orv::MoUtils::deleteAttributeValueContainer(container); }
};
typedef std::unique_ptr<Container, Release> Copy;

Copy copyOf(const Container& source)
{
    return Copy(Orv::MoUtils::copyAttributeValueContainer(&source));
}

// The text of the exception that the copy throws; empty if it throws none.
std::string refusalOf(const Container& source)
{
    try
    {
        copyOf(source);
    }
    catch (const Orv::OrvException& exception)
    {
        return exception.what();
    }
    return "";
}

Value valueOf(uint64_t bits)
{
    Value value;
    value.u64 = bits;
    return value;
}

Value textValue(const char* text)
{
    Value value;
    value.str = text;
    return value;
}

Value structValue(Member* head)
{
    Value value;
    value.structMembers = head;
    return value;
}

char memberName[] = "member";

class MoUtilsPlainType : public testing::TestWithParam<int32_t>
{
};

TEST_P(MoUtilsPlainType, CopiesAllEightBytesOfEachValue)
{
    Value values[] = {valueOf(0), valueOf(0x8000000000000001ull), valueOf(~0ull)};
    const Container source = {"attribute", GetParam(), 3, values};
    const Copy copy = copyOf(source);
    EXPECT_STREQ(copy->name, "attribute");
    EXPECT_EQ(copy->type, GetParam());
    ASSERT_EQ(copy->noOfValues, 3u);
    EXPECT_NE(copy->values, values);
    EXPECT_EQ(memcmp(copy->values, values, sizeof(values)), 0);
}

INSTANTIATE_TEST_SUITE_P(AllOfThem, MoUtilsPlainType, testing::Values(1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 16));

class MoUtilsTextType : public testing::TestWithParam<int32_t>
{
};

TEST_P(MoUtilsTextType, CopiesEachString)
{
    char first[] = "first";
    Value values[] = {textValue(first), textValue(""), textValue("third")};
    const Copy copy = copyOf({"attribute", GetParam(), 3, values});
    first[0] = 'X';
    EXPECT_STREQ(copy->values[0].str, "first");
    EXPECT_STREQ(copy->values[1].str, "");
    EXPECT_STREQ(copy->values[2].str, "third");
}

TEST_P(MoUtilsTextType, ThrowsForANullString)
{
    Value values[] = {textValue("first"), textValue(nullptr)};
    EXPECT_EQ(refusalOf({"attribute", GetParam(), 2, values}), "Attribute attribute: null instead of a string");
}

INSTANTIATE_TEST_SUITE_P(AllOfThem, MoUtilsTextType, testing::Values(9, 11));

class MoUtilsUnknownType : public testing::TestWithParam<int32_t>
{
};

TEST_P(MoUtilsUnknownType, IsRefusedWithItsCode)
{
    Value value = valueOf(1);
    EXPECT_EQ(refusalOf({"a", GetParam(), 1, &value}),
              "Attribute a: values of type code " + std::to_string(GetParam()) + " cannot be copied");
}

TEST_P(MoUtilsUnknownType, IsRefusedWithoutValuesToo)
{
    EXPECT_NE(refusalOf({"a", GetParam(), 0, nullptr}), "");
}

TEST_P(MoUtilsUnknownType, IsRefusedInAStructMemberToo)
{
    Value inner = valueOf(1);
    MemberValue memberValue = {GetParam(), 1, &inner};
    Member member = {memberName, &memberValue, nullptr};
    Value outer = structValue(&member);
    EXPECT_NE(refusalOf({"a", 13, 1, &outer}), "");
}

INSTANTIATE_TEST_SUITE_P(SomeOfThem, MoUtilsUnknownType,
                         testing::Values(0, 14, 15, 17, 99, -1, std::numeric_limits<int32_t>::min(),
                                         std::numeric_limits<int32_t>::max()));

TEST(MoUtils, IsIndependentOfItsSource)
{
    char name[] = "speed";
    char text[] = "fast";
    Value values[] = {textValue(text)};
    const Copy copy = copyOf({name, 9, 1, values});
    memset(name, 'x', strlen(name));
    memset(text, 'x', strlen(text));
    values[0].str = nullptr;
    EXPECT_STREQ(copy->name, "speed");
    EXPECT_STREQ(copy->values[0].str, "fast");
}

TEST(MoUtils, CopiesAnAttributeWithoutValues)
{
    const Copy copy = copyOf({"empty", 9, 0, nullptr});
    EXPECT_STREQ(copy->name, "empty");
    EXPECT_EQ(copy->noOfValues, 0u);
    EXPECT_EQ(copy->values, nullptr);
}

TEST(MoUtils, DoesNotLookAtTheValuesWhenThereAreNone)
{
    Value* const nowhere = reinterpret_cast<Value*>(8);
    const Copy copy = copyOf({"empty", 9, 0, nowhere});
    EXPECT_EQ(copy->values, nullptr);
}

TEST(MoUtils, CopiesAStructWithAllItsMembersInTheirOrder)
{
    char firstName[] = "address";
    char secondName[] = "ports";
    Value address = textValue("10.0.0.1");
    Value ports[] = {valueOf(80), valueOf(443)};
    MemberValue addressValue = {9, 1, &address};
    MemberValue portsValue = {6, 2, ports};
    Member second = {secondName, &portsValue, nullptr};
    Member first = {firstName, &addressValue, &second};
    Value whole = structValue(&first);
    const Copy copy = copyOf({"endpoint", 13, 1, &whole});
    firstName[0] = 'X';
    ports[0].u16 = 1;

    const Member* const one = copy->values[0].structMembers;
    ASSERT_NE(one, nullptr);
    EXPECT_STREQ(one->memberName, "address");
    EXPECT_STREQ(one->memberValue->values[0].str, "10.0.0.1");
    const Member* const two = one->next;
    ASSERT_NE(two, nullptr);
    EXPECT_STREQ(two->memberName, "ports");
    EXPECT_EQ(two->memberValue->type, 6);
    ASSERT_EQ(two->memberValue->noOfValues, 2u);
    EXPECT_EQ(two->memberValue->values[0].u16, 80);
    EXPECT_EQ(two->memberValue->values[1].u16, 443);
    EXPECT_EQ(two->next, nullptr);
}

TEST(MoUtils, CopiesSeveralStructsAndEmptyOnes)
{
    MemberValue none = {9, 0, nullptr};
    Member member = {memberName, &none, nullptr};
    Value values[] = {structValue(nullptr), structValue(&member), structValue(nullptr)};
    const Copy copy = copyOf({"structs", 13, 3, values});
    EXPECT_EQ(copy->values[0].structMembers, nullptr);
    EXPECT_STREQ(copy->values[1].structMembers->memberName, "member");
    EXPECT_EQ(copy->values[1].structMembers->memberValue->noOfValues, 0u);
    EXPECT_EQ(copy->values[2].structMembers, nullptr);
}

// A struct within a struct within a struct ... with an integer at the bottom.
class Nest
{
public:
    explicit Nest(size_t depth) : _values(depth + 1), _containers(depth), _members(depth)
    {
        _values[depth] = valueOf(42);
        for (size_t i = depth; i-- > 0;)
        {
            const bool atTheBottom = i + 1 == depth;
            _containers[i] = {atTheBottom ? 8 : 13, 1, &_values[i + 1]};
            _members[i] = {memberName, &_containers[i], nullptr};
            _values[i] = structValue(&_members[i]);
        }
    }
    Container attribute() { return {"nest", 13, 1, &_values[0]}; }

private:
    std::vector<Value> _values;
    std::vector<MemberValue> _containers;
    std::vector<Member> _members;
};

TEST(MoUtils, CopiesStructsDownToTheDepthLimit)
{
    Nest nest(Orv::MoUtils::MAX_STRUCT_DEPTH);
    const Copy copy = copyOf(nest.attribute());
    const Value* value = &copy->values[0];
    for (int i = 0; i < Orv::MoUtils::MAX_STRUCT_DEPTH; ++i)
    {
        value = &value->structMembers->memberValue->values[0];
    }
    EXPECT_EQ(value->u64, 42u);
}

TEST(MoUtils, ThrowsForAStructBelowTheDepthLimit)
{
    Nest nest(Orv::MoUtils::MAX_STRUCT_DEPTH + 1);
    EXPECT_EQ(refusalOf(nest.attribute()), "Attribute nest: structs are nested deeper than 32");
}

TEST(MoUtils, ThrowsForAStructThatContainsItself)
{
    Value value;
    MemberValue container = {13, 1, &value};
    Member member = {memberName, &container, nullptr};
    value = structValue(&member);
    EXPECT_EQ(refusalOf({"loop", 13, 1, &value}), "Attribute loop: structs are nested deeper than 32");
}

TEST(MoUtils, ThrowsForAListOfMembersThatNeverEnds)
{
    MemberValue container = {8, 0, nullptr};
    Member member = {memberName, &container, nullptr};
    member.next = &member;
    Value value = structValue(&member);
    EXPECT_EQ(refusalOf({"loop", 13, 1, &value}), "Attribute loop has more than 65536 struct members");
}

TEST(MoUtils, ThrowsForMembersThatMultiplyAtEveryLevel)
{
    // Each level has two members that share the next level: 2 to the power of 32 members if no one counted.
    Nest nest(Orv::MoUtils::MAX_STRUCT_DEPTH);
    Container attribute = nest.attribute();
    std::vector<Member> twins(Orv::MoUtils::MAX_STRUCT_DEPTH);
    Member* member = attribute.values[0].structMembers;
    for (Member& twin : twins)
    {
        twin = *member;
        member->next = &twin;
        member = member->memberValue->values[0].structMembers;
        if (twin.memberValue->type != 13)
        {
            break;
        }
    }
    EXPECT_EQ(refusalOf(attribute), "Attribute nest has more than 65536 struct members");
}

// A list of members that share one value.
std::vector<Member> listOf(size_t count, MemberValue& shared)
{
    std::vector<Member> members(count, Member{memberName, &shared, nullptr});
    for (size_t i = 0; i + 1 < count; ++i)
    {
        members[i].next = &members[i + 1];
    }
    return members;
}

TEST(MoUtils, CopiesAsManyMembersAsAreAllowedAndRefusesOneMore)
{
    MemberValue empty = {8, 0, nullptr};
    std::vector<Member> members = listOf(Orv::MoUtils::MAX_STRUCT_MEMBERS + 1, empty);
    Value value = structValue(&members[1]);
    const Copy copy = copyOf({"many", 13, 1, &value});
    int count = 0;
    for (const Member* member = copy->values[0].structMembers; member != nullptr; member = member->next)
    {
        ++count;
    }
    EXPECT_EQ(count, Orv::MoUtils::MAX_STRUCT_MEMBERS);
    value = structValue(&members[0]);
    EXPECT_EQ(refusalOf({"many", 13, 1, &value}), "Attribute many has more than 65536 struct members");
}

TEST(MoUtils, ThrowsForANullWhereAValueIsNeeded)
{
    EXPECT_THROW(Orv::MoUtils::copyAttributeValueContainer(nullptr), Orv::OrvException);
    Value number = valueOf(1);
    EXPECT_EQ(refusalOf({nullptr, 8, 1, &number}), "Attribute (null): null instead of a name");
    EXPECT_EQ(refusalOf({"a", 8, 2, nullptr}), "Attribute a: null instead of 2 values");
    EXPECT_EQ(refusalOf({"a", 8, std::numeric_limits<uint32_t>::max(), nullptr}),
              "Attribute a: null instead of 4294967295 values");

    MemberValue empty = {8, 1, nullptr};
    Member member = {memberName, nullptr, nullptr};
    Value whole = structValue(&member);
    EXPECT_EQ(refusalOf({"a", 13, 1, &whole}), "Attribute a: null instead of the value of struct member member");
    member.memberValue = &empty;
    EXPECT_EQ(refusalOf({"a", 13, 1, &whole}), "Attribute a: null instead of 1 values");
    empty.values = &number;
    member.memberName = nullptr;
    EXPECT_EQ(refusalOf({"a", 13, 1, &whole}), "Attribute a: null instead of a struct member's name");
}

TEST(MoUtils, AllocatesOnceForACopyAndReleasesOnce)
{
    Value texts[] = {textValue("one"), textValue("two")};
    MemberValue container = {9, 2, texts};
    Member second = {memberName, &container, nullptr};
    Member first = {memberName, &container, &second};
    Value values[] = {structValue(&first), structValue(&first)};
    const Container source = {"attribute", 13, 2, values};

    const AllocationCount count;
    Container* const copy = Orv::MoUtils::copyAttributeValueContainer(&source);
    const int allocations = count.allocations();
    Orv::MoUtils::deleteAttributeValueContainer(copy);
    EXPECT_EQ(allocations, 1);
    EXPECT_EQ(count.allocations(), 1);
    EXPECT_EQ(count.releases(), 1);
}

TEST(MoUtils, AllocatesNothingForACopyThatItRefuses)
{
    Value values[] = {textValue("one"), textValue(nullptr)};
    const Container source = {"attribute", 9, 2, values};
    bool refused = false;
    const AllocationCount count;
    try
    {
        Orv::MoUtils::copyAttributeValueContainer(&source);
    }
    catch (const Orv::OrvException&)
    {
        refused = true;
    }
    EXPECT_TRUE(refused);
    EXPECT_EQ(count.allocations(), 0);
}

bool isAligned(const void* address)
{
    return reinterpret_cast<uintptr_t>(address) % 8 == 0;
}

TEST(MoUtils, AlignsEveryRecordOfACopy)
{
    // Strings of lengths that are no multiples of eight stand between the records of the source.
    Value text = textValue("x");
    MemberValue container = {9, 1, &text};
    Member second = {memberName, &container, nullptr};
    Member first = {memberName, &container, &second};
    Value values[] = {structValue(&first), structValue(&second)};
    const Copy copy = copyOf({"odd", 13, 2, values});
    EXPECT_TRUE(isAligned(copy.get()));
    EXPECT_TRUE(isAligned(copy->values));
    for (uint32_t i = 0; i < copy->noOfValues; ++i)
    {
        for (const Member* member = copy->values[i].structMembers; member != nullptr; member = member->next)
        {
            EXPECT_TRUE(isAligned(member));
            EXPECT_TRUE(isAligned(member->memberValue));
            EXPECT_TRUE(isAligned(member->memberValue->values));
        }
    }
}

TEST(MoUtils, ThrowsBadAllocWithoutMemory)
{
    Value value = valueOf(1);
    const Container source = {"a", 8, 1, &value};
    const NoMemory noMemory;
    EXPECT_THROW(Orv::MoUtils::copyAttributeValueContainer(&source), std::bad_alloc);
}

TEST(MoUtils, ThrowsBadAllocForMoreThanAnyMemoryHolds)
{
    // 65536 members that claim 2^32 - 1 numbers each: the size must be right, not wrapped to a small one.
    Value value = valueOf(1);
    MemberValue container = {8, std::numeric_limits<uint32_t>::max(), &value};
    std::vector<Member> members = listOf(Orv::MoUtils::MAX_STRUCT_MEMBERS, container);
    Value whole = structValue(&members[0]);
    const Container source = {"huge", 13, 1, &whole};
    EXPECT_THROW(Orv::MoUtils::copyAttributeValueContainer(&source), std::bad_alloc);
}

TEST(MoUtils, CopiesItsOwnCopies)
{
    Nest nest(5);
    const Copy first = copyOf(nest.attribute());
    const Copy second = copyOf(*first);
    EXPECT_EQ(second->values[0].structMembers->memberValue->type, 13);
    EXPECT_NE(second->values[0].structMembers, first->values[0].structMembers);
}

TEST(MoUtils, ReleasesANullPointerByDoingNothing)
{
    const AllocationCount count;
    Orv::MoUtils::deleteAttributeValueContainer(nullptr);
    EXPECT_EQ(count.releases(), 0);
}

TEST(MoUtils, ServesSeveralThreadsAtOnceEvenForOneSource)
{
    Nest nest(8);
    const Container shared = nest.attribute();
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 500; ++i)
                {
                    const std::string own = std::to_string(t) + "/" + std::to_string(i);
                    Value value = textValue(own.c_str());
                    const Copy ownCopy = copyOf({"own", 9, 1, &value});
                    const Copy sharedCopy = copyOf(shared);
                    right += own == ownCopy->values[0].str && sharedCopy->noOfValues == 1 ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(right, 2000);
}

}  // namespace
