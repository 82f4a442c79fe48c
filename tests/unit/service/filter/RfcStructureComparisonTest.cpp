// The conditions of a subtree filter on the members of a struct.
#include "RfcFilterTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotificationServiceCM;
using OrvNbiNotificationService::RfcSubscriptionFilter;
using testing::ElementsAre;

namespace
{

const char COMPARING[] = "compareAttributes ";
const char MATCHED[] = "Match occured ";
const char HOLDS[] = "returning 1 ";
const char FAILS[] = "returning false ";

std::string member(const std::string& name)
{
    return "Matching Structure Containments struct member name " + name + "  ";
}

class RfcCompareStructures : public RfcFilterTest
{
protected:
    RfcCompareStructures() : filter(filterOf({})) {}
    ~RfcCompareStructures() override
    {
        if (_transaction != 0)
        {
            EXPECT_EQ(Orv::ZelComponent<NbiNotificationServiceCM>::instance().endTransaction(_transaction), OrvOk);
        }
        EXPECT_EQ(framework.objects().misuses(), 0u);
    }

    // Whether a struct of these members, as the model gives it, meets the conditions. Once in a test; its traces come
    // next.
    bool meets(const std::vector<Attribute>& conditions, const std::vector<MemberOfStruct>& members)
    {
        return meets(AttributeArray(conditions), members);
    }
    bool meets(const AttributeArray& conditions, const std::vector<MemberOfStruct>& members)
    {
        framework.objects().setStruct("A=1", "s", members);
        ZelMoAttributeValueResult_3 result = {0, nullptr};
        EXPECT_EQ(filter.getMoAttribute("A=1", "s", &result, _transaction), OrvOk);
        newTraces();
        return filter.compareStructures(conditions.get(), &result.value->values[0]);
    }

    static MemberOfStruct int32Member(const std::string& name, const std::vector<int32_t>& values)
    {
        MemberOfStruct result = {name, ZelMoAttributeInt32_3, {}};
        for (const int32_t value : values)
        {
            result.values.push_back(numberValue(value));
        }
        return result;
    }
    static MemberOfStruct withoutContainer(const std::string& name)
    {
        MemberOfStruct result = int32Member(name, {});
        result.nullValue = true;
        return result;
    }
    static MemberOfStruct withoutName()
    {
        MemberOfStruct result = int32Member("", {1});
        result.nullName = true;
        return result;
    }

    RfcSubscriptionFilter& filter;

private:
    unsigned long _transaction = 0;
};

TEST_F(RfcCompareStructures, HoldsForNoConditionsWithoutALookAtTheStruct)
{
    ZelMoAttributeValue_3 wild;
    wild.u64 = 8;  // no list stands there
    const AttributeArray none({});
    newTraces();
    EXPECT_TRUE(filter.compareStructures(none.get(), &wild));
    EXPECT_THAT(newTraces(), ElementsAre(HOLDS));
    EXPECT_TRUE(filter.compareStructures(nullptr, &wild)) << "a null array is an empty one";
    EXPECT_THAT(newTraces(), ElementsAre(HOLDS));
}

TEST_F(RfcCompareStructures, PassesOverAConditionWhoseMemberTheStructLacks)
{
    EXPECT_TRUE(meets({int32Attribute("a", 1)}, {int32Member("b", {2}), int32Member("c", {3})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("b"), member("c"), HOLDS));
}

TEST_F(RfcCompareStructures, IsMetByAnyOneValueOfAMember)
{
    EXPECT_TRUE(meets({int32Attribute("a", 5)}, {int32Member("a", {3, 5})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, COMPARING, MATCHED, HOLDS));
}

TEST_F(RfcCompareStructures, LooksNoFurtherThanTheFirstValueThatIsEqual)
{
    EXPECT_TRUE(meets({int32Attribute("a", 3)}, {int32Member("a", {3, 3, 5})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, MATCHED, HOLDS));
}

TEST_F(RfcCompareStructures, IsNotMetByAMemberWithOtherValues)
{
    EXPECT_FALSE(meets({int32Attribute("a", 4)}, {int32Member("a", {3, 5}), int32Member("b", {4})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, COMPARING, FAILS));
}

TEST_F(RfcCompareStructures, IsNotMetByAMemberWithoutValues)
{
    EXPECT_FALSE(meets({int32Attribute("a", 0)}, {int32Member("b", {1}), int32Member("a", {})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("b"), member("a"), FAILS));
}

TEST_F(RfcCompareStructures, IsNotMetByAMemberWithoutAContainerOfValues)
{
    EXPECT_FALSE(meets({int32Attribute("a", 0)}, {withoutContainer("a")}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), FAILS));
}

TEST_F(RfcCompareStructures, IsNotMetByAMemberThatCountsValuesAndHasNone)
{
    ZelMoAttributeValueContainer_3 container = {ZelMoAttributeInt32_3, 2, nullptr};
    char name[] = "a";
    ZelMoStructMember_3 only = {name, &container, nullptr};
    ZelMoAttributeValue_3 value;
    value.structMembers = &only;
    const AttributeArray conditions({int32Attribute("a", 0)});
    newTraces();
    EXPECT_FALSE(filter.compareStructures(conditions.get(), &value));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), FAILS));
}

TEST_F(RfcCompareStructures, AsksTheMembersThatComeAfterAMatchTheSameWay)
{
    EXPECT_TRUE(
        meets({int32Attribute("a", 5)}, {int32Member("a", {5}), int32Member("b", {1}), int32Member("a", {1, 5})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, MATCHED, member("b"), member("a"), COMPARING,
                                         COMPARING, MATCHED, HOLDS));
}

TEST_F(RfcCompareStructures, FailsWhereALaterMemberOfTheSameNameFails)
{
    EXPECT_FALSE(
        meets({int32Attribute("a", 5)}, {int32Member("a", {5}), int32Member("a", {1}), int32Member("b", {1})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, MATCHED, member("a"), COMPARING, FAILS));
}

TEST_F(RfcCompareStructures, WalksTheMembersFromTheHeadForEachConditionInOrder)
{
    EXPECT_TRUE(
        meets({int32Attribute("b", 2), int32Attribute("a", 1)}, {int32Member("a", {1}), int32Member("b", {2})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), member("b"), COMPARING, MATCHED, member("a"), COMPARING, MATCHED,
                                         member("b"), HOLDS));
}

TEST_F(RfcCompareStructures, NeedsAllConditions)
{
    EXPECT_FALSE(
        meets({int32Attribute("a", 1), int32Attribute("b", 3)}, {int32Member("a", {1}), int32Member("b", {2})}));
    EXPECT_THAT(newTraces(),
                ElementsAre(member("a"), COMPARING, MATCHED, member("b"), member("a"), member("b"), COMPARING, FAILS));
}

TEST_F(RfcCompareStructures, GoesNoFurtherThanTheFirstConditionThatFails)
{
    EXPECT_FALSE(
        meets({int32Attribute("a", 9), int32Attribute("b", 2)}, {int32Member("a", {1}), int32Member("b", {2})}));
    EXPECT_THAT(newTraces(), ElementsAre(member("a"), COMPARING, FAILS));
}

TEST_F(RfcCompareStructures, NeedsBothOfTwoConditionsOnOneMember)
{
    EXPECT_TRUE(meets({int32Attribute("a", 1), int32Attribute("a", 2)}, {int32Member("a", {1, 2})}));
}

TEST_F(RfcCompareStructures, FailsForTwoConditionsOnAMemberWithOneValue)
{
    EXPECT_FALSE(meets({int32Attribute("a", 1), int32Attribute("a", 2)}, {int32Member("a", {1})}));
}

TEST_F(RfcCompareStructures, ComparesNamesExactly)
{
    EXPECT_TRUE(meets({int32Attribute("a", 1)}, {int32Member("A", {2}), int32Member("aa", {2}), int32Member("", {2})}));
}

TEST_F(RfcCompareStructures, PassesOverAMemberWithoutAName)
{
    EXPECT_TRUE(meets({int32Attribute("a", 2), int32Attribute("", 2)}, {withoutName(), int32Member("a", {2})}));
}

TEST_F(RfcCompareStructures, PassesOverAConditionWithoutAName)
{
    const AttributeArray conditions({int32Attribute("", 2), int32Attribute("a", 1)});
    conditions.get()[0]->name = nullptr;
    EXPECT_TRUE(meets(conditions, {withoutName(), int32Member("", {1}), int32Member("a", {1})}));
    const Texts walk = {member("(null)"), member(""), member("a")};
    Texts expected = walk;
    expected.insert(expected.end(), walk.begin(), walk.end());
    expected.insert(expected.end(), {COMPARING, MATCHED, HOLDS});
    EXPECT_EQ(newTraces(), expected);
}

TEST_F(RfcCompareStructures, TakesTheTypeFromTheConditionAlone)
{
    MemberOfStruct wide = {"a", ZelMoAttributeInt64_3, {numberValue(0x100000005)}};
    EXPECT_TRUE(meets({int32Attribute("a", 5)}, {wide})) << "four bytes are equal";
}

TEST_F(RfcCompareStructures, ComparesTheBytesOfTheConditionsTypeWhereTheMemberHasFewer)
{
    const MemberOfStruct narrow = {"a", ZelMoAttributeInt32_3, {numberValue(5)}};
    EXPECT_FALSE(meets({Attribute{"a", ZelMoAttributeInt64_3, 5, ""}}, {narrow}));
}

TEST_F(RfcCompareStructures, ComparesStringMembersByTheirCharacters)
{
    const MemberOfStruct texts = {"a", ZelMoAttributeString_3, {textValue("one"), nullTextValue(), textValue("two")}};
    EXPECT_TRUE(meets({stringAttribute("a", "two")}, {texts}));
}

TEST_F(RfcCompareStructures, NeverHoldsAConditionOnAStructInTheStruct)
{
    const MemberOfStruct inner = {"a", ZelMoAttributeStruct_3, {structValue({int32Member("b", {1})})}};
    EXPECT_FALSE(meets({Attribute{"a", ZelMoAttributeStruct_3, 0, ""}}, {inner}));
}

TEST_F(RfcCompareStructures, LooksAtTheFirstValueOfAConditionOnly)
{
    ZelMoAttributeValue_3 values[2];
    values[0].i64 = 3;
    values[1].i64 = 5;
    ZelMoNamedAttributeValueContainer_3 condition = {"a", ZelMoAttributeInt32_3, 2, values};
    ZelMoNamedAttributeValueContainer_3* conditions[] = {&condition, nullptr};
    ZelMoAttributeValue_3 present;
    present.i64 = 5;
    ZelMoAttributeValueContainer_3 container = {ZelMoAttributeInt32_3, 1, &present};
    char name[] = "a";
    ZelMoStructMember_3 only = {name, &container, nullptr};
    ZelMoAttributeValue_3 value;
    value.structMembers = &only;
    EXPECT_FALSE(filter.compareStructures(conditions, &value));
    present.i64 = 3;
    EXPECT_TRUE(filter.compareStructures(conditions, &value));
    condition.values = nullptr;
    EXPECT_FALSE(filter.compareStructures(conditions, &value)) << "a condition without a value";
}

TEST_F(RfcCompareStructures, PassesOverEveryConditionWhereTheStructIsNull)
{
    EXPECT_TRUE(meets({int32Attribute("a", 1)}, {}));
    EXPECT_THAT(newTraces(), ElementsAre(HOLDS));
    const AttributeArray conditions({int32Attribute("a", 1)});
    EXPECT_TRUE(filter.compareStructures(conditions.get(), nullptr)) << "nor where there is no value";
    EXPECT_THAT(newTraces(), ElementsAre(HOLDS));
}

}  // namespace
