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
