// The operations of an edit, as they show in the data.
#include "EditApplier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace
{

class EditApplierOperations : public ::testing::Test
{
protected:
    std::string order()
    {
        const std::string text = _element.print();
        std::string found;
        for (const std::string name : {"\"order\"", "\"step\""})
        {
            const std::size_t begin = text.find(name);
            const std::size_t end = begin == std::string::npos ? begin : text.find(']', begin);
            for (std::size_t at = begin; at < end; ++at)
            {
                const bool isValue = text[at] == '"' && text[at + 2] == '"';
                found += isValue ? std::string(1, text[at + 1]) : "";
                at += isValue ? 2 : 0;
            }
        }
        return found;
    }

    ModelTest::AwkwardElement _element;
};

}  // namespace

TEST_F(EditApplierOperations, WithoutAnOperationNodesAreMerged)
{
    _element.edit("<item><name>a</name><value>1</value></item>");
    _element.edit("<item><name>a</name><weight>7</weight></item>");
    EXPECT_THAT(_element.print(), HasSubstr("\"value\": 1"));
    EXPECT_THAT(_element.print(), HasSubstr("\"weight\": 7"));
}

TEST_F(EditApplierOperations, AReplacedEntryHoldsWhatTheEditGivesAndNothingElse)
{
    _element.edit("<item><name>a</name><value>1</value><extra><text>t</text></extra></item>");
    _element.edit("<item nc:operation=\"replace\"><name>a</name><weight>7</weight></item>");
    EXPECT_THAT(_element.print(), Not(HasSubstr("\"value\"")));
    EXPECT_THAT(_element.print(), Not(HasSubstr("\"extra\"")));
    EXPECT_THAT(_element.print(), HasSubstr("\"weight\": 7"));
}

TEST_F(EditApplierOperations, ReplaceCreatesWhatIsMissing)
{
    _element.edit("<item nc:operation=\"replace\"><name>a</name></item>");
    EXPECT_THAT(_element.print(), HasSubstr("\"name\": \"a\""));
}

TEST_F(EditApplierOperations, AReplacedContainerLosesItsEntries)
{
    _element.edit("<item><name>a</name></item><item><name>b</name></item><level>9</level>");
    _element.edit("<item><name>b</name></item>", "nc:operation=\"replace\"");
    EXPECT_THAT(_element.print(), Not(HasSubstr("\"a\"")));
    EXPECT_THAT(_element.print(), Not(HasSubstr("\"level\"")));
    EXPECT_THAT(_element.print(), HasSubstr("\"b\""));
}

TEST_F(EditApplierOperations, ACreatedEntryMustNotExist)
{
    _element.edit("<item nc:operation=\"create\"><name>a</name></item>");
    EXPECT_EQ(_element.refused("<item nc:operation=\"create\"><name>a</name></item>"),
              "data-exists: /orv-awkward:box/item[name='a'] is there already");
}

TEST_F(EditApplierOperations, ACreatedLeafMustNotExist)
{
    _element.edit("<limit nc:operation=\"create\">9</limit>");
    EXPECT_EQ(_element.refused("<limit nc:operation=\"create\">8</limit>"),
              "data-exists: /orv-awkward:box/limit is there already");
}

TEST_F(EditApplierOperations, ACreatedLeafListEntryMustNotExist)
{
    _element.edit("<colours nc:operation=\"create\">red</colours>");
    EXPECT_EQ(_element.refused("<colours nc:operation=\"create\">red</colours>"),
              "data-exists: /orv-awkward:box/colours[.='red'] is there already");
    _element.edit("<colours nc:operation=\"create\">blue</colours>");
}

TEST_F(EditApplierOperations, ADefaultDoesNotExistForCreateAndDelete)
{
    EXPECT_EQ(_element.refused("<level nc:operation=\"delete\">5</level>"),
              "data-missing: /orv-awkward:box/level does not exist");
    _element.edit("<level nc:operation=\"create\">5</level>");
    EXPECT_NE(_element.refused("<level nc:operation=\"create\">5</level>"), "");
}

TEST_F(EditApplierOperations, AContainerWithoutPresenceExistsForCreateOnlyWithContent)
{
    _element.edit("<settings nc:operation=\"create\"><deep><depth>1</depth></deep></settings>");
    EXPECT_EQ(_element.refused("<settings nc:operation=\"create\"/>"),
              "data-exists: /orv-awkward:box/settings is there already");
    _element.edit("<settings><deep><depth nc:operation=\"delete\"/></deep></settings>");
    EXPECT_EQ(_element.refused("<settings nc:operation=\"delete\"/>"),
              "data-missing: /orv-awkward:box/settings does not exist");
    _element.edit("<settings nc:operation=\"create\"><colour>red</colour></settings>");
    _element.edit("<settings nc:operation=\"delete\"/>");
    EXPECT_THAT(_element.print(), Not(HasSubstr("settings")));
}

TEST_F(EditApplierOperations, DeletingWhatIsMissingIsAnError)
{
    EXPECT_EQ(_element.refused("<item nc:operation=\"delete\"><name>a</name></item>"),
              "data-missing: /orv-awkward:box/item[name='a'] does not exist");
    EXPECT_EQ(_element.refused("<option nc:operation=\"delete\"/>"),
              "data-missing: /orv-awkward:box/option does not exist");
    EXPECT_EQ(_element.refused("<limit nc:operation=\"delete\"/>"),
              "data-missing: /orv-awkward:box/limit does not exist");
}

TEST_F(EditApplierOperations, RemovingWhatIsMissingIsNone)
{
    EXPECT_TRUE(_element
                    .edit("<item nc:operation=\"remove\"><name>a</name></item><limit nc:operation=\"remove\"/>"
                          "<option nc:operation=\"remove\"/><colours nc:operation=\"remove\">red</colours>")
                    .empty());
}

TEST_F(EditApplierOperations, DeleteAndRemoveTakeAwayWhatIsThere)
{
    _element.edit("<item><name>a</name></item><item><name>b</name></item><limit>9</limit>");
    _element.edit("<item nc:operation=\"delete\"><name>a</name></item><limit nc:operation=\"remove\"/>");
    EXPECT_THAT(_element.print(), Not(HasSubstr("\"a\"")));
    EXPECT_THAT(_element.print(), HasSubstr("\"b\""));
    EXPECT_THAT(_element.print(), Not(HasSubstr("limit")));
}

TEST_F(EditApplierOperations, ALeafIsDeletedWithOrWithoutAValue)
{
    for (const std::string leaf : {"<limit nc:operation=\"delete\"/>", "<limit nc:operation=\"delete\">9</limit>",
                                   "<limit nc:operation=\"delete\">77</limit>"})
    {
        _element.edit("<limit>9</limit>");
        _element.edit(leaf);
        EXPECT_THAT(_element.print(), Not(HasSubstr("limit"))) << leaf;
    }
}

TEST_F(EditApplierOperations, AChildHasItsParentsOperationUnlessItCarriesOne)
{
    _element.edit("<item><name>a</name><value>1</value></item>");
    EXPECT_EQ(
        _element.refused("<settings nc:operation=\"create\"><deep><depth nc:operation=\"delete\"/></deep></settings>"),
        "data-missing: /orv-awkward:box/settings/deep/depth does not exist");
    EXPECT_EQ(_element.refused("<item nc:operation=\"merge\"><name>a</name><value>2</value></item>",
                               "nc:operation=\"create\""),
              "data-exists: /orv-awkward:box is there already");
}

TEST_F(EditApplierOperations, AnUnknownOperationIsRefused)
{
    EXPECT_THAT(_element.refused("<level nc:operation=\"destroy\">7</level>"), HasSubstr("destroy"));
}

TEST_F(EditApplierOperations, AKeyCannotBeDeletedByItself)
{
    _element.edit("<item><name>a</name></item>");
    EXPECT_THAT(_element.refused("<item><name nc:operation=\"delete\">a</name></item>"),
                StartsWith("bad-attribute: /orv-awkward:box/item[name='a']/name"));
}

TEST_F(EditApplierOperations, ALeafWithoutValueIsUnderstoodForDeletionOnly)
{
    EXPECT_NE(_element.refused("<limit/>"), "");
    EXPECT_NE(_element.refused("<limit nc:operation=\"merge\"/>"), "");
    EXPECT_NE(_element.refused("<limit nc:operation=\"delete\">x</limit>"), "");
    EXPECT_NE(_element.refused("<nothing nc:operation=\"delete\"/>"), "");
    EXPECT_NE(_element.refused("<item nc:operation=\"delete\"/>"), "");
    EXPECT_NE(_element.refused("<observed nc:operation=\"delete\"/>"), "");
}

TEST_F(EditApplierOperations, JsonCarriesOperationsAsAnnotations)
{
    _element.edit("<item><name>a</name><value>1</value></item><limit>9</limit><option/>");
    _element.data().applyEdit(
        R"({"orv-awkward:box": {"limit": null, "@limit": {"ietf-netconf:operation": "delete"},
            "option": {"@": {"ietf-netconf:operation": "remove"}},
            "item": [{"@": {"ietf-netconf:operation": "replace"}, "name": "a", "weight": 3}]}})",
        EditFormat::Json);
    EXPECT_THAT(_element.print(), Not(HasSubstr("limit")));
    EXPECT_THAT(_element.print(), Not(HasSubstr("option")));
    EXPECT_THAT(_element.print(), Not(HasSubstr("value")));
    EXPECT_THAT(_element.print(), HasSubstr("\"weight\": 3"));
}

TEST_F(EditApplierOperations, NewEntriesOfAUserOrderedListGoToItsEnd)
{
    _element.edit("<order>x</order><order>y</order>");
    _element.edit("<order>z</order><order>x</order>");
    EXPECT_EQ(order(), "xyz");
}

TEST_F(EditApplierOperations, AnEntryIsInsertedWhereTheEditSays)
{
    _element.edit("<order>x</order><order>y</order>");
    _element.edit("<order yang:insert=\"first\">a</order>");
    EXPECT_EQ(order(), "axy");
    _element.edit("<order yang:insert=\"before\" yang:value=\"y\">b</order>");
    EXPECT_EQ(order(), "axby");
    _element.edit("<order yang:insert=\"after\" yang:value=\"a\">c</order>");
    EXPECT_EQ(order(), "acxby");
    _element.edit("<order yang:insert=\"last\">d</order>");
    EXPECT_EQ(order(), "acxbyd");
}

TEST_F(EditApplierOperations, AnEntryThatIsThereMoves)
{
    _element.edit("<order>x</order><order>y</order><order>z</order>");
    _element.edit("<order yang:insert=\"first\">z</order>");
    EXPECT_EQ(order(), "zxy");
    _element.edit("<order yang:insert=\"last\">z</order>");
    EXPECT_EQ(order(), "xyz");
    _element.edit("<order yang:insert=\"before\" yang:value=\"x\">x</order>");
    EXPECT_EQ(order(), "xyz");
}

TEST_F(EditApplierOperations, AListEntryMovesBesideTheOneThatItsKeyNames)
{
    _element.edit("<step><name>p</name></step><step><name>q</name></step><step><name>r</name></step>");
    _element.edit("<step yang:insert=\"before\" yang:key=\"[name='p']\"><name>r</name></step>");
    EXPECT_EQ(order(), "rpq");
    _element.edit("<step yang:insert=\"after\" yang:key=\"[a:name='q']\"><name>p</name></step>");
    EXPECT_EQ(order(), "rqp");
}

TEST_F(EditApplierOperations, AReplacedEntryKeepsItsPlace)
{
    _element.edit("<step><name>p</name></step><step><name>q</name></step>");
    _element.edit("<step nc:operation=\"replace\"><name>p</name><value>3</value></step>");
    EXPECT_EQ(order(), "pq");
}

TEST_F(EditApplierOperations, APlaceBesideWhatIsMissingIsAnError)
{
    _element.edit("<order>x</order>");
    EXPECT_EQ(_element.refused("<order yang:insert=\"before\" yang:value=\"w\">v</order>"),
              "missing-instance: /orv-awkward:box/order[.='v'] is to stand before \"w\", which does not exist");
    EXPECT_THAT(_element.refused("<order yang:insert=\"after\">v</order>"), StartsWith("missing-instance: "));
    EXPECT_THAT(_element.refused("<step yang:insert=\"after\" yang:key=\"[name='n']\"><name>m</name></step>"),
                StartsWith("missing-instance: "));
    EXPECT_EQ(order(), "x");
}

TEST_F(EditApplierOperations, WhatTheUserDoesNotOrderCannotBePlaced)
{
    EXPECT_THAT(_element.refused("<colours yang:insert=\"first\">v</colours>"), StartsWith("bad-attribute: "));
}

TEST_F(EditApplierOperations, AnydataIsKeptAndReplacedAsAWhole)
{
    _element.edit("<blob><one xmlns=\"urn:any\">1</one></blob>");
    _element.edit("<blob><two xmlns=\"urn:any\">2</two></blob>");
    const std::string text = _element.data().print(EditFormat::Xml);
    EXPECT_THAT(text, HasSubstr("<two"));
    EXPECT_THAT(text, Not(HasSubstr("<one")));
    _element.edit("<blob nc:operation=\"delete\"/>");
    EXPECT_THAT(_element.data().print(EditFormat::Xml), Not(HasSubstr("blob")));
}

TEST_F(EditApplierOperations, TopNodesAreAddedAndTakenAway)
{
    const auto apply = [this](const std::string& text)
    { return ModelTest::operations(_element.data().applyEdit(text, EditFormat::Xml).operator*()); };
    const std::string row = "<row xmlns=\"urn:orv:awkward\" xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\"";
    apply("<top-leaf xmlns=\"urn:orv:awkward\">x</top-leaf>" + row + "><id>1</id></row>" + row + "><id>2</id></row>");
    apply(
        "<top-leaf xmlns=\"urn:orv:awkward\" xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
        "nc:operation=\"delete\"/>" +
        row + " nc:operation=\"delete\"><id>1</id></row>");
    const std::string text = _element.print();
    EXPECT_THAT(text, Not(HasSubstr("top-leaf")));
    EXPECT_THAT(text, Not(HasSubstr("\"id\": 1")));
    EXPECT_THAT(text, HasSubstr("\"id\": 2"));
}
