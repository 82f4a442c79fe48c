// What the subtree filter asks about attributes and their values.
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>

#include "RfcFilterTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotificationServiceCM;
using OrvNbiNotificationService::RfcSubscriptionFilter;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char COMPARING[] = "compareAttributes ";

class RfcAttributeComparison : public RfcFilterTest
{
protected:
    RfcAttributeComparison() : filter(filterOf({})) {}

    RfcSubscriptionFilter& filter;
};

class RfcAttributeListMatch : public RfcAttributeComparison
{
protected:
    bool select(const Texts& selection, const std::vector<Attribute>& attributes)
    {
        _names = Trees({node("A").select(selection)});
        _attributes.emplace_back(attributes);
        return filter.attributeListMatch(_names.get()[0]->attributeSelection, _attributes.back().get());
    }
    ZelMoNamedAttributeValueContainer_3* entry(size_t place) { return _attributes.back().get()[place]; }

    const Attribute x = int32Attribute("x", 1);
    const Attribute y = int32Attribute("y", 2);

private:
    Trees _names;
    std::deque<AttributeArray> _attributes;  // all of them: the filter points into them
};

TEST_F(RfcAttributeListMatch, TakesAnAttributeOnceHoweverOftenItIsNamed)
{
    EXPECT_TRUE(select({"x", "x"}, {x, y}));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(entry(0))) << "a pointer into what it was given";
}

TEST_F(RfcAttributeListMatch, KeepsTheOrderOfTheSelection)
{
    EXPECT_TRUE(select({"y", "x"}, {x, y}));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(entry(1), entry(0)));
}

TEST_F(RfcAttributeListMatch, LeavesWhatIsSelectedAloneWhenItFindsNothing)
{
    EXPECT_TRUE(select({"x"}, {x}));
    const std::list<ZelMoNamedAttributeValueContainer_3*> before = filter.selectedAttributes;
    const AttributeArray others({y});
    Trees names({node("A").select({"z"})});
    EXPECT_FALSE(filter.attributeListMatch(names.get()[0]->attributeSelection, others.get()));
    EXPECT_EQ(filter.selectedAttributes, before);
}

TEST_F(RfcAttributeListMatch, FindsNothingForAnEmptySelectionOrInAnEmptyList)
{
    EXPECT_FALSE(select({}, {x, y}));
    EXPECT_FALSE(select({"x"}, {}));
    EXPECT_THAT(filter.selectedAttributes, IsEmpty());
}

TEST_F(RfcAttributeListMatch, IsTrueWhenOneOfTheNamesIsFound)
{
    EXPECT_TRUE(select({"a", "y", "b"}, {x, y}));
    EXPECT_THAT(selected(), ElementsAre("y"));
}

TEST_F(RfcAttributeListMatch, ComparesNamesExactly)
{
    EXPECT_FALSE(select({"X", "xx", "", " x"}, {x}));
    EXPECT_FALSE(select({"x"}, {int32Attribute("X", 1), int32Attribute("xx", 1), int32Attribute("", 1)}));
    EXPECT_THAT(filter.selectedAttributes, IsEmpty());
}

TEST_F(RfcAttributeListMatch, TakesTheFirstOfSeveralEntriesOfOneName)
{
    EXPECT_TRUE(select({"x"}, {y, x, x}));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(entry(1)));
}

TEST_F(RfcAttributeListMatch, AddsToWhatIsSelectedAndIsTrueForANameThatIsThereAlready)
{
    const AttributeArray earlier({x});
    Trees names({node("A").select({"x"})});
    ASSERT_TRUE(filter.attributeListMatch(names.get()[0]->attributeSelection, earlier.get()));
    EXPECT_TRUE(select({"y"}, {x, y}));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(earlier.get()[0], entry(1)));
    EXPECT_TRUE(select({"x"}, {x})) << "although nothing is added";
    EXPECT_THAT(selected(), ElementsAre("x", "y"));
}

TEST_F(RfcAttributeListMatch, TracesEachNameOnceAndEveryEntryThatBearsIt)
{
    newTraces();
    EXPECT_TRUE(select({"y", "a", "x"}, {x, y, x}));
    EXPECT_THAT(newTraces(), ElementsAre("AttributeSelection: Attributes in subscription y",
                                         "AttributeSelection: Attributes in notification y",
                                         "AttributeSelection: Attributes in subscription a",
                                         "AttributeSelection: Attributes in subscription x",
                                         "AttributeSelection: Attributes in notification x",
                                         "AttributeSelection: Attributes in notification x"));
    EXPECT_FALSE(select({}, {x}));
    EXPECT_THAT(newTraces(), IsEmpty());
    EXPECT_FALSE(select({"x", "y"}, {})) << "nothing to compare them with";
    EXPECT_THAT(newTraces(), ElementsAre("AttributeSelection: Attributes in subscription x",
                                         "AttributeSelection: Attributes in subscription y"));
}

TEST_F(RfcAttributeListMatch, PassesOverAnAttributeWithoutAName)
{
    const AttributeArray attributes({x, y});
    attributes.get()[0]->name = nullptr;
    Trees names({node("A").select({"", "y"})});
    newTraces();
    EXPECT_TRUE(filter.attributeListMatch(names.get()[0]->attributeSelection, attributes.get()));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(attributes.get()[1]));
    EXPECT_THAT(newTraces(), ElementsAre("AttributeSelection: Attributes in subscription ",
                                         "AttributeSelection: Attributes in subscription y",
                                         "AttributeSelection: Attributes in notification y"));
}

class RfcGetMoAttribute : public RfcAttributeComparison
{
protected:
    ZelReturnT read(const char* name) { return filter.getMoAttribute("A=1,B=2", name, &result, transaction); }

    ZelMoAttributeValueResult_3 result = {0, nullptr};
    unsigned long transaction = 0;
};

TEST_F(RfcGetMoAttribute, ReadsThroughTheComponentAndLeavesTheCallerTheTransaction)
{
    framework.objects().setString("A=1,B=2", "x", "here");
    EXPECT_EQ(read("x"), OrvOk);
    ASSERT_NE(result.value, nullptr);
    EXPECT_STREQ(result.value->values[0].str, "here");
    EXPECT_THAT(framework.objects().calls(), ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1,B=2, x)"));
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    EXPECT_EQ(Orv::ZelComponent<NbiNotificationServiceCM>::instance().endTransaction(transaction), OrvOk);
}

TEST_F(RfcGetMoAttribute, PassesEveryResultOn)
{
    EXPECT_EQ(read("x"), OrvNotFound);
    framework.plan().failAlways("getMoAttribute", 17);
    EXPECT_EQ(read("x"), 17);
    framework.plan().failAlways("openTransaction", 17);
    EXPECT_EQ(read("x"), OrvFailure);
    framework.plan().failAlways("portal3.getInterface:ZelOamSpiTransactionMaster", 18);
    EXPECT_EQ(read("x"), 18);
    framework.withdraw("ZelOamSpiManagedObject");
    EXPECT_EQ(read("x"), OrvFailure);
}

TEST_F(RfcGetMoAttribute, TracesTheAttributeFirst)
{
    framework.objects().setInt32("A=1,B=2", "x", 1);
    newTraces();
    EXPECT_EQ(read("x"), OrvOk);
    EXPECT_THAT(newTraces(),
                ElementsAre("getMoAttribute : Getting value of MO Attribute x ", " Calling getMOAtrribute  "));
}

class RfcCompareAttributes : public RfcAttributeComparison
{
protected:
    bool equal(ZelOamSpiMoAttributeType_3 type, ZelMoAttributeValue_3 left, ZelMoAttributeValue_3 right)
    {
        const bool result = filter.compareAttributes(type, &left, &right);
        EXPECT_EQ(filter.compareAttributes(type, &right, &left), result) << "the other way round";
        return result;
    }
    bool equalTexts(ZelOamSpiMoAttributeType_3 type, const char* left, const char* right)
    {
        ZelMoAttributeValue_3 first;
        ZelMoAttributeValue_3 second;
        first.str = left;
        second.str = right;
        return equal(type, first, second);
    }
    bool equalReals(double left, double right)
    {
        ZelMoAttributeValue_3 first;
        ZelMoAttributeValue_3 second;
        first.f64 = left;
        second.f64 = right;
        return equal(ZelMoAttributeDouble_3, first, second);
    }
};

// The codes whose values are whole numbers, each with the number of bytes that count.
class RfcCompareNumbers : public RfcCompareAttributes,
                          public testing::WithParamInterface<std::pair<ZelOamSpiMoAttributeType_3, size_t>>
{
};

TEST_P(RfcCompareNumbers, ComparesExactlyTheBytesOfItsWidth)
{
    for (const unsigned char pattern : {0x00, 0x01, 0x7f, 0x80, 0xff})
    {
        ZelMoAttributeValue_3 left;
        std::memset(&left, pattern, sizeof(left));
        EXPECT_TRUE(equal(GetParam().first, left, left));
        for (size_t byte = 0; byte < sizeof(left); ++byte)
        {
            for (unsigned int bit = 0; bit < 8; ++bit)
            {
                ZelMoAttributeValue_3 right = left;
                reinterpret_cast<unsigned char*>(&right)[byte] ^= static_cast<unsigned char>(1u << bit);
                EXPECT_EQ(equal(GetParam().first, left, right), byte >= GetParam().second)
                    << "bit " << bit << " of byte " << byte << ", pattern " << static_cast<int>(pattern);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codes, RfcCompareNumbers,
    testing::Values(std::make_pair(ZelMoAttributeInt8_3, 1), std::make_pair(ZelMoAttributeInt16_3, 2),
                    std::make_pair(ZelMoAttributeInt32_3, 4), std::make_pair(ZelMoAttributeInt64_3, 8),
                    std::make_pair(ZelMoAttributeUint8_3, 1), std::make_pair(ZelMoAttributeUint16_3, 2),
                    std::make_pair(ZelMoAttributeUint32_3, 4), std::make_pair(ZelMoAttributeUint64_3, 8),
                    std::make_pair(ZelMoAttributeBoolean_3, 1), std::make_pair(ZelMoAttributeEnumeration_3, 8)));

TEST_F(RfcCompareAttributes, ComparesStringsAndReferencesByTheirCharacters)
{
    for (const ZelOamSpiMoAttributeType_3 type : {+ZelMoAttributeString_3, +ZelMoAttributeReference_3})
    {
        const std::string one = "some text";
        const std::string same = "some text";
        EXPECT_TRUE(equalTexts(type, one.c_str(), same.c_str())) << "at two places";
        EXPECT_TRUE(equalTexts(type, "", ""));
        EXPECT_TRUE(equalTexts(type, "\xc3\xa9", "\xc3\xa9"));
        EXPECT_FALSE(equalTexts(type, "some text", "some tex"));
        EXPECT_FALSE(equalTexts(type, "some text", "Some text"));
        EXPECT_FALSE(equalTexts(type, "some text", "some text "));
        EXPECT_FALSE(equalTexts(type, "", "a"));
    }
}

TEST_F(RfcCompareAttributes, FindsANullStringEqualToNothing)
{
    for (const ZelOamSpiMoAttributeType_3 type : {+ZelMoAttributeString_3, +ZelMoAttributeReference_3})
    {
        EXPECT_FALSE(equalTexts(type, nullptr, ""));
        EXPECT_FALSE(equalTexts(type, nullptr, nullptr));
    }
}

TEST_F(RfcCompareAttributes, ComparesRealsAsNumbers)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(equalReals(1.5, 1.5));
    EXPECT_TRUE(equalReals(0.0, -0.0));
    EXPECT_TRUE(equalReals(infinity, infinity));
    EXPECT_FALSE(equalReals(infinity, -infinity));
    EXPECT_FALSE(equalReals(1.5, std::nextafter(1.5, 2.0)));
    EXPECT_FALSE(equalReals(nan, nan));
    EXPECT_FALSE(equalReals(nan, 0.0));
    ZelMoAttributeValue_3 value;
    value.f64 = nan;
    EXPECT_FALSE(filter.compareAttributes(ZelMoAttributeDouble_3, &value, &value)) << "not even to itself";
}

TEST_F(RfcCompareAttributes, FindsNothingEqualOfAStructAReservedCodeOrOneOutsideTheTable)
{
    ZelMoAttributeValue_3 value;
    value.structMembers = nullptr;
    for (const ZelOamSpiMoAttributeType_3 type :
         {13, 14, 15, 0, 17, -1, 256 + 1, 65536 + 3, std::numeric_limits<int32_t>::max(),
          std::numeric_limits<int32_t>::min()})
    {
        EXPECT_FALSE(filter.compareAttributes(type, &value, &value)) << type;
    }
}

TEST_F(RfcCompareAttributes, FindsNothingEqualToAMissingValue)
{
    ZelMoAttributeValue_3 value;
    value.i64 = 0;
    for (ZelOamSpiMoAttributeType_3 type = 0; type <= 17; ++type)
    {
        EXPECT_FALSE(filter.compareAttributes(type, nullptr, &value)) << type;
        EXPECT_FALSE(filter.compareAttributes(type, &value, nullptr)) << type;
        EXPECT_FALSE(filter.compareAttributes(type, nullptr, nullptr)) << type;
    }
}

TEST_F(RfcCompareAttributes, TracesEachComparisonWhateverTheType)
{
    ZelMoAttributeValue_3 value;
    value.i64 = 1;
    newTraces();
    for (const ZelOamSpiMoAttributeType_3 type : {3, 13, 17})
    {
        filter.compareAttributes(type, &value, &value);
        EXPECT_THAT(newTraces(), ElementsAre(COMPARING)) << type;
    }
}

}  // namespace
