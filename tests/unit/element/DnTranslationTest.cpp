#include "DnTranslation.h"

#include <gtest/gtest.h>

using namespace OrvElement;

TEST(DnTranslation, TheRootsKeyBecomesTheElementsNameOutside)
{
    EXPECT_EQ(internalToExternal("ManagedElement=1", "node-7"), "ManagedElement=node-7");
    EXPECT_EQ(internalToExternal("ManagedElement=1,interfaces=1,interface=eth0", "node-7"),
              "ManagedElement=node-7,interfaces=1,interface=eth0");
}

TEST(DnTranslation, TheElementsNameBecomesTheRootsKeyInside)
{
    EXPECT_EQ(externalToInternal("ManagedElement=node-7,interfaces=1", "node-7"), "ManagedElement=1,interfaces=1");
    EXPECT_EQ(externalToInternal("ManagedElement=node-7", "node-7"), "ManagedElement=1");
}

TEST(DnTranslation, ADnWithAnotherRootHasNoOtherForm)
{
    EXPECT_EQ(internalToExternal("ManagedElement=12,interfaces=1", "node-7"), "");
    EXPECT_EQ(internalToExternal("Other=1", "node-7"), "");
    EXPECT_EQ(internalToExternal("", "node-7"), "");
    EXPECT_EQ(externalToInternal("ManagedElement=node-77", "node-7"), "");
    EXPECT_EQ(externalToInternal("ManagedElement=1", "node-7"), "");
}

TEST(DnTranslation, TheWayOutAndBackGivesTheSameDn)
{
    const std::string dn = "ManagedElement=1,list=a%2Cb";
    EXPECT_EQ(externalToInternal(internalToExternal(dn, "x"), "x"), dn);
}

TEST(DnTranslation, WhatADnCannotHoldIsPercentEncodedInAKey)
{
    EXPECT_EQ(encodeKey("a,b=c%d", false), "a%2Cb%3Dc%25d");
    EXPECT_EQ(encodeKey("tab\tline\nend\x7F", false), "tab%09line%0Aend%7F");
    EXPECT_EQ(encodeKey("\xC2\x85", false), "%C2%85");
}

TEST(DnTranslation, EverythingElseStaysInAKey)
{
    EXPECT_EQ(encodeKey("eth0/1.5;x:y \xC3\xA9\xC2\xA0", false), "eth0/1.5;x:y \xC3\xA9\xC2\xA0");
    EXPECT_EQ(encodeKey("ends with \xC2", false), "ends with \xC2");
    EXPECT_EQ(encodeKey("", false), "");
}

TEST(DnTranslation, ASemicolonInOneOfSeveralKeysIsEncoded)
{
    EXPECT_EQ(encodeKey("a;b", true), "a%3Bb");
}

TEST(DnTranslation, DecodingUndoesEncoding)
{
    for (const std::string& key : {std::string("a,b=c%d;e"), std::string("tab\tend\x7F"), std::string("\xC2\x85"),
                                   std::string("%2C"), std::string()})
    {
        EXPECT_EQ(decodeKey(encodeKey(key, false)), key);
        EXPECT_EQ(decodeKey(encodeKey(key, true)), key);
    }
}

TEST(DnTranslation, APercentSignThatBeginsNoEncodedByteStays)
{
    EXPECT_EQ(decodeKey("%"), "%");
    EXPECT_EQ(decodeKey("%2"), "%2");
    EXPECT_EQ(decodeKey("%2G%G2%2c"), "%2G%G2%2c");
}

TEST(DnTranslation, ADnIsSplitIntoItsComponents)
{
    const std::vector<DnComponent> components = splitDn("ManagedElement=1,item=,pair=a;b=c");
    ASSERT_EQ(components.size(), 3u);
    EXPECT_EQ(components[0].className, "ManagedElement");
    EXPECT_EQ(components[0].key, "1");
    EXPECT_EQ(components[1].key, "");
    EXPECT_EQ(components[2].className, "pair");
    EXPECT_EQ(components[2].key, "a;b=c");
}

TEST(DnTranslation, ATextThatIsNoDnHasNoComponents)
{
    for (const char* text : {"", "a", "a=1,", ",a=1", "a=1,b", "a=1,,b=2"})
    {
        EXPECT_TRUE(splitDn(text).empty()) << text;
    }
}

TEST(DnTranslation, TheRootComponentIsTheElementInEitherForm)
{
    EXPECT_TRUE(isRootComponent({"ManagedElement", "1"}, "node-7"));
    EXPECT_TRUE(isRootComponent({"ManagedElement", "node-7"}, "node-7"));
    EXPECT_FALSE(isRootComponent({"ManagedElement", "2"}, "node-7"));
    EXPECT_FALSE(isRootComponent({"box", "1"}, "node-7"));
}
