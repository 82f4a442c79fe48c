#include "Transaction.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "DataTree.h"
#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::text;

namespace
{

// Transactions on the module with a leaf of every type.
class TransactionOnTypes : public ::testing::Test
{
protected:
    void edit(const std::string& content)
    {
        _data.applyEdit("<types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\">" + content + "</types>",
                        EditFormat::Xml);
    }

    // The value after an edit, read in a transaction of its own.
    std::string valueAfter(const std::string& content, const std::string& attribute)
    {
        edit(content);
        return read(attribute);
    }

    std::string read(const std::string& attribute)
    {
        Transaction transaction(ModelTest::typesModel(), _data.snapshot());
        const ZelMoAttributeValueContainer_3* const result = transaction.read("ManagedElement=1,types=1", attribute);
        return result ? text(*result) : "not found";
    }

    ElementData _data{ModelTest::typesModel()};
};

TEST_F(TransactionOnTypes, ReadsEveryTypeWithItsCode)
{
    EXPECT_EQ(valueAfter("<a-int8>-128</a-int8>", "a-int8"), "1: -128");
    EXPECT_EQ(valueAfter("<a-int16>-32768</a-int16>", "a-int16"), "2: -32768");
    EXPECT_EQ(valueAfter("<a-int32>-2147483648</a-int32>", "a-int32"), "3: -2147483648");
    EXPECT_EQ(valueAfter("<a-int64>-9223372036854775808</a-int64>", "a-int64"), "4: -9223372036854775808");
    EXPECT_EQ(valueAfter("<a-uint8>255</a-uint8>", "a-uint8"), "5: 255");
    EXPECT_EQ(valueAfter("<a-uint16>65535</a-uint16>", "a-uint16"), "6: 65535");
    EXPECT_EQ(valueAfter("<a-uint32>4294967295</a-uint32>", "a-uint32"), "7: 4294967295");
    EXPECT_EQ(valueAfter("<a-uint64>18446744073709551615</a-uint64>", "a-uint64"), "8: 18446744073709551615");
    EXPECT_EQ(valueAfter("<a-string>x &lt; y</a-string>", "a-string"), "9: x < y");
    EXPECT_EQ(valueAfter("<a-binary>AAEC</a-binary>", "a-binary"), "9: AAEC");
    EXPECT_EQ(valueAfter("<a-bits>two one</a-bits>", "a-bits"), "9: one two");
    EXPECT_EQ(valueAfter("<an-identity>t:red</an-identity>", "an-identity"), "9: orv-types:red");
    EXPECT_EQ(valueAfter("<a-union>7</a-union>", "a-union"), "9: 7");
    EXPECT_EQ(valueAfter("<a-boolean>false</a-boolean>", "a-boolean"), "10: false");
    EXPECT_EQ(valueAfter("<a-boolean>true</a-boolean>", "a-boolean"), "10: true");
    EXPECT_EQ(valueAfter("<an-empty/>", "an-empty"), "10: true");
    EXPECT_EQ(valueAfter("<a-leafref>65535</a-leafref>", "a-leafref"), "11: ->65535");
    EXPECT_EQ(valueAfter("<an-instance>/t:types/t:a-int8</an-instance>", "an-instance"),
              "11: ->/orv-types:types/a-int8");
    EXPECT_EQ(valueAfter("<an-enum>low</an-enum>", "an-enum"), "12: #-7");
    EXPECT_EQ(valueAfter("<a-decimal>-0.125</a-decimal>", "a-decimal"), "16: -0.125");
    EXPECT_EQ(valueAfter("<numbers>3</numbers><numbers>1</numbers>", "numbers"), "7: 3|1");
}

TEST_F(TransactionOnTypes, AnAttributeWithoutAValueHasItsCodeAndNoValue)
{
    EXPECT_EQ(read("a-int8"), "1: none");
    EXPECT_EQ(read("an-empty"), "10: none");
    EXPECT_EQ(read("an-instance"), "11: none");
    EXPECT_EQ(read("a-decimal"), "16: none");
    EXPECT_EQ(read("numbers"), "7: none");
}

TEST_F(TransactionOnTypes, AStructIsOneValueWithItsMembers)
{
    EXPECT_EQ(read("place"), "13: (label=here)");
    EXPECT_EQ(valueAfter("<place><latitude>1.25</latitude><tags>b</tags><tags>a</tags>"
                         "<inner><depth>-3</depth></inner></place>",
                         "place"),
              "13: (latitude=1.25, label=here, tags=b|a, inner=(depth=-3))");
}

TEST_F(TransactionOnTypes, TheMembersOfAStructHaveTheirOwnCodes)
{
    edit("<place><latitude>1.25</latitude><tags>b</tags><inner><depth>-3</depth></inner></place>");
    Transaction transaction(ModelTest::typesModel(), _data.snapshot());
    std::vector<std::string> codes;
    for (const ZelMoStructMember_3* member =
             transaction.read("ManagedElement=1,types=1", "place")->values[0].structMembers;
         member; member = member->next)
    {
        codes.push_back(member->memberName + std::string(" ") + text(*member->memberValue));
    }
    EXPECT_EQ(codes,
              (std::vector<std::string>{"latitude 16: 1.25", "label 9: here", "tags 9: b", "inner 13: (depth=-3)"}));
}

TEST_F(TransactionOnTypes, AStructWithPresenceAndNoMembersIsAnEmptyValue)
{
    EXPECT_EQ(read("marker"), "13: none");
    EXPECT_EQ(valueAfter("<marker/>", "marker"), "13: ()");
}

TEST_F(TransactionOnTypes, TheKeyOfAContainerIsReadLikeAnAttribute)
{
    EXPECT_EQ(read("typesId"), "9: 1");
    Transaction transaction(ModelTest::typesModel(), _data.snapshot());
    const ZelMoAttributeValueContainer_3* const result = transaction.read("ManagedElement=1", "managedElementId");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(text(*result), "9: 1");
}

TEST_F(TransactionOnTypes, TheKeyOfAnEntryIsReadLikeAnAttribute)
{
    edit("<with-list><l><k>a,b</k></l></with-list>");
    Transaction transaction(ModelTest::typesModel(), _data.snapshot());
    const ZelMoAttributeValueContainer_3* const result =
        transaction.read("ManagedElement=1,types=1,with-list=1,l=a%2Cb", "k");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(text(*result), "9: a,b");
}

TEST_F(TransactionOnTypes, WhatIsNotThereGivesNoResult)
{
    Transaction transaction(ModelTest::typesModel(), _data.snapshot());
    EXPECT_EQ(transaction.read("ManagedElement=1,types=1", "nothing"), nullptr);
    EXPECT_EQ(transaction.read("ManagedElement=1,nothing=1", "a-int8"), nullptr);
    EXPECT_EQ(transaction.read("ManagedElement=1,types=1,with-list=1,l=a", "k"), nullptr);
}

TEST_F(TransactionOnTypes, EarlierResultsStayWhileOthersFollow)
{
    edit("<a-string>first</a-string><numbers>1</numbers><numbers>2</numbers>");
    Transaction transaction(ModelTest::typesModel(), _data.snapshot());
    const std::string dn = "ManagedElement=1,types=1";
    const ZelMoAttributeValueContainer_3* const first = transaction.read(dn, "a-string");
    const ZelMoAttributeValueContainer_3* const second = transaction.read(dn, "numbers");
    for (int i = 0; i < 1000; ++i)
    {
        transaction.read(dn, "a-string");
        transaction.read(dn, "place");
    }
    EXPECT_EQ(text(*first), "9: first");
    EXPECT_EQ(text(*second), "7: 1|2");
}

TEST_F(TransactionOnTypes, ReadsTheDataOfItsOpeningWhateverIsEditedMeanwhile)
{
    edit("<a-string>old</a-string><numbers>1</numbers>");
    Transaction before(ModelTest::typesModel(), _data.snapshot());
    edit("<a-string>new</a-string><numbers>2</numbers>");
    Transaction after(ModelTest::typesModel(), _data.snapshot());
    const std::string dn = "ManagedElement=1,types=1";
    EXPECT_EQ(text(*before.read(dn, "a-string")), "9: old");
    EXPECT_EQ(text(*before.read(dn, "numbers")), "7: 1");
    EXPECT_EQ(text(*after.read(dn, "a-string")), "9: new");
    EXPECT_EQ(text(*after.read(dn, "numbers")), "7: 1|2");
}

TEST_F(TransactionOnTypes, ASnapshotLivesAsLongAsATransactionNeedsIt)
{
    edit("<a-string>old</a-string>");
    auto transaction = std::make_unique<Transaction>(ModelTest::typesModel(), _data.snapshot());
    const std::weak_ptr<const DataTree> data = transaction->_data;
    edit("<a-string>new</a-string>");
    EXPECT_FALSE(data.expired());
    transaction.reset();
    EXPECT_TRUE(data.expired());
}

// The data come from a file: unlike those of an edit, nobody has read them before. Every thread reads what might be
// made at the first reading: texts of all kinds, entries by their keys, containers.
TEST_F(TransactionOnTypes, ManyReadersPrintersAndAnEditorShareOneSnapshot)
{
    std::string entries;
    for (int i = 0; i < 50; ++i)
    {
        entries += "<l><k>n" + std::to_string(i) + "</k></l>";
    }
    const ModelTest::TemporaryFile startup(
        ".xml",
        "<types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\"><a-bits>two one</a-bits>"
        "<an-identity>t:red</an-identity><a-union>7</a-union><a-binary>AAEC</a-binary>"
        "<an-instance>/t:types/t:a-int8</an-instance><a-uint16>3</a-uint16><a-leafref>3</a-leafref>"
        "<a-decimal>1.5</a-decimal><with-list>" +
            entries + "</with-list></types>");
    _data.loadStartup(startup.path());
    const std::shared_ptr<const DataTree> snapshot = _data.snapshot();
    Transaction shared(ModelTest::typesModel(), snapshot);
    const std::string types = "ManagedElement=1,types=1";
    const std::string list = types + ",with-list=1";
    std::atomic<bool> editing(true);

    const auto readAll = [&](Transaction& transaction)
    {
        EXPECT_EQ(text(*transaction.read(types, "a-bits")), "9: one two");
        EXPECT_EQ(text(*transaction.read(types, "an-identity")), "9: orv-types:red");
        EXPECT_EQ(text(*transaction.read(types, "a-union")), "9: 7");
        EXPECT_EQ(text(*transaction.read(types, "a-binary")), "9: AAEC");
        EXPECT_EQ(text(*transaction.read(types, "an-instance")), "11: ->/orv-types:types/a-int8");
        EXPECT_EQ(text(*transaction.read(types, "a-leafref")), "11: ->3");
        EXPECT_EQ(text(*transaction.read(types, "a-decimal")), "16: 1.5");
        EXPECT_EQ(text(*transaction.read(types, "place")), "13: (label=here)");
        EXPECT_EQ(text(*transaction.read(list + ",l=n49", "k")), "9: n49");
        EXPECT_EQ(transaction.read(list + ",l=n50", "k"), nullptr);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                do
                {
                    readAll(shared);
                    Transaction own(ModelTest::typesModel(), snapshot);
                    readAll(own);
                } while (editing);
            });
    }
    threads.emplace_back(
        [&]
        {
            const std::string first = snapshot->print(EditFormat::Json);
            do
            {
                EXPECT_EQ(snapshot->print(EditFormat::Json), first);
                snapshot->print(EditFormat::Xml);
            } while (editing);
        });
    for (int i = 0; i < 20; ++i)
    {
        edit("<a-bits>one</a-bits><a-string>" + std::to_string(i) + "</a-string><with-list><l><k>m" +
             std::to_string(i) + "</k></l></with-list>");
    }
    editing = false;
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(read("a-string"), "9: 19");
}

}  // namespace
