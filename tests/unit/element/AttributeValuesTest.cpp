#include "AttributeValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MoUtils.h"
#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::operations;
using ::testing::ElementsAre;

namespace
{

// Edits the container of all types; its leaves are this object's attributes.
class AttributeValues : public ::testing::Test
{
protected:
    std::vector<std::string> edit(const std::string& content) { return operations(*apply(content)); }

    std::unique_ptr<ChangeEvent> apply(const std::string& content)
    {
        return _data.applyEdit(
            "<types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\" "
            "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">" +
                content + "</types>",
            EditFormat::Xml);
    }

    // The one changed attribute, as "name=value".
    std::string changed(const std::string& content)
    {
        const std::vector<std::string> lines = edit(content);
        const std::string prefix = "changed ManagedElement=1,types=1 {";
        EXPECT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.at(0).substr(0, prefix.size()), prefix);
        return lines.at(0).substr(prefix.size(), lines.at(0).size() - prefix.size() - 1);
    }

    ElementData _data{ModelTest::typesModel()};
};

}  // namespace

TEST_F(AttributeValues, IntegersKeepTheirExtremes)
{
    EXPECT_EQ(changed("<a-int8>-128</a-int8>"), "a-int8=-128");
    EXPECT_EQ(changed("<a-int16>-32768</a-int16>"), "a-int16=-32768");
    EXPECT_EQ(changed("<a-int32>-2147483648</a-int32>"), "a-int32=-2147483648");
    EXPECT_EQ(changed("<a-int64>-9223372036854775808</a-int64>"), "a-int64=-9223372036854775808");
    EXPECT_EQ(changed("<a-uint8>255</a-uint8>"), "a-uint8=255");
    EXPECT_EQ(changed("<a-uint16>65535</a-uint16>"), "a-uint16=65535");
    EXPECT_EQ(changed("<a-uint32>4294967295</a-uint32>"), "a-uint32=4294967295");
    EXPECT_EQ(changed("<a-uint64>18446744073709551615</a-uint64>"), "a-uint64=18446744073709551615");
}

TEST_F(AttributeValues, TextualTypesGiveTheirCanonicalText)
{
    EXPECT_EQ(changed("<a-string>x &lt; y</a-string>"), "a-string=x < y");
    EXPECT_EQ(changed("<a-binary>aGVsbG8=</a-binary>"), "a-binary=aGVsbG8=");
    EXPECT_EQ(changed("<a-bits>two one</a-bits>"), "a-bits=one two");
    EXPECT_EQ(changed("<an-identity>t:red</an-identity>"), "an-identity=orv-types:red");
    EXPECT_EQ(changed("<a-union>007</a-union>"), "a-union=7");
}

TEST_F(AttributeValues, BooleansAreTrueOrFalseAndAnEmptyLeafIsTrue)
{
    EXPECT_EQ(changed("<a-boolean>true</a-boolean>"), "a-boolean=true");
    EXPECT_EQ(changed("<a-boolean>false</a-boolean>"), "a-boolean=false");
    EXPECT_EQ(changed("<an-empty/>"), "an-empty=true");
}

TEST_F(AttributeValues, ReferencesGiveTheTextOfTheirTarget)
{
    edit("<a-uint16>9</a-uint16>");
    EXPECT_EQ(changed("<a-leafref>9</a-leafref>"), "a-leafref=->9");
    EXPECT_EQ(changed("<an-instance>/t:types/t:a-uint16</an-instance>"), "an-instance=->/orv-types:types/a-uint16");
}

TEST_F(AttributeValues, AnEnumerationGivesItsValue)
{
    EXPECT_EQ(changed("<an-enum>low</an-enum>"), "an-enum=#-7");
    EXPECT_EQ(changed("<an-enum>high</an-enum>"), "an-enum=#42");
}

TEST_F(AttributeValues, ADecimalGivesTheNearestDouble)
{
    const auto event = apply("<a-decimal>-1234.567</a-decimal>");
    EXPECT_EQ(event->record().txOperations[0]->attributes[0]->values[0].f64, -1234.567);
}

TEST_F(AttributeValues, ALeafListIsOneAttributeWithSeveralValues)
{
    EXPECT_EQ(changed("<numbers>3</numbers><numbers>1</numbers>"), "numbers=3|1");
}

TEST_F(AttributeValues, AnAttributeThatIsGoneHasItsTypeAndNoValue)
{
    edit("<a-uint16>9</a-uint16>");
    const auto event = apply("<a-uint16 nc:operation=\"delete\"/>");
    const ZelMoNamedAttributeValueContainer_3& attribute = *event->record().txOperations[0]->attributes[0];
    EXPECT_STREQ(attribute.name, "a-uint16");
    EXPECT_EQ(attribute.type, 6);
    EXPECT_EQ(attribute.noOfValues, 0u);
}

TEST_F(AttributeValues, AStructIsOneAttributeWithAllItsMembers)
{
    EXPECT_EQ(changed("<place><latitude>1.25</latitude><tags>a</tags><tags>b</tags>"
                      "<inner><depth>-3</depth></inner></place>"),
              "place=(latitude=1.25, label=here, tags=a|b, inner=(depth=-3))");
    EXPECT_EQ(changed("<place><label>there</label></place>"),
              "place=(latitude=1.25, label=there, tags=a|b, inner=(depth=-3))");
}

TEST_F(AttributeValues, AMemberThatIsGoneChangesItsStruct)
{
    edit("<place><latitude>1.25</latitude></place>");
    EXPECT_EQ(changed("<place><latitude nc:operation=\"delete\"/></place>"), "place=(label=here)");
}

TEST_F(AttributeValues, AnExplicitDefaultInAStructIsNoChange)
{
    EXPECT_THAT(edit("<place><label>here</label></place>"), ElementsAre());
}

TEST_F(AttributeValues, AStructWithPresenceHasAValueEvenWithoutMembers)
{
    EXPECT_EQ(changed("<marker/>"), "marker=()");
    EXPECT_EQ(changed("<marker><note>n</note></marker>"), "marker=(note=n)");
    EXPECT_EQ(changed("<marker nc:operation=\"remove\"/>"), "marker=none");
}

TEST_F(AttributeValues, TheSupportLibraryCopiesEveryType)
{
    const auto event = apply(
        "<a-int8>1</a-int8><a-int16>1</a-int16><a-int32>1</a-int32><a-int64>1</a-int64><a-uint8>1</a-uint8>"
        "<a-uint16>1</a-uint16><a-uint32>1</a-uint32><a-uint64>1</a-uint64><a-string/><a-binary/><a-bits/>"
        "<an-identity>t:red</an-identity><a-union>x</a-union><a-boolean>true</a-boolean><an-empty/>"
        "<a-leafref>1</a-leafref><an-instance>/t:types</an-instance><an-enum>low</an-enum><a-decimal>1</a-decimal>"
        "<numbers>1</numbers><place><tags>x</tags></place><marker/>");
    int copied = 0;
    for (ZelMoNamedAttributeValueContainer_3** at = event->record().txOperations[0]->attributes; *at; ++at)
    {
        ZelMoNamedAttributeValueContainer_3* const copy = Orv::MoUtils::copyAttributeValueContainer(*at);
        EXPECT_STREQ(copy->name, (*at)->name);
        Orv::MoUtils::deleteAttributeValueContainer(copy);
        ++copied;
    }
    EXPECT_EQ(copied, 22);
}
