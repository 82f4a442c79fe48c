#include "DnUtil.h"

#include <gtest/gtest.h>

#include "OrvException.h"

namespace
{

TEST(DnUtil, AppendsClassAndKeyValueToTheParent)
{
    std::string dn;
    Orv::DnUtil::getDn("ManagedElement=1", "Interface", "name", "eth0", dn);
    EXPECT_EQ(dn, "ManagedElement=1,Interface=eth0");
}

TEST(DnUtil, LeavesTheKeysNameOutAndTakesNullForIt)
{
    std::string dn;
    Orv::DnUtil::getDn("A=1", "B", nullptr, "2", dn);
    EXPECT_EQ(dn, "A=1,B=2");
}

TEST(DnUtil, GivesTheComponentAloneForAnEmptyParent)
{
    std::string dn;
    Orv::DnUtil::getDn("", "ManagedElement", "managedElementId", "1", dn);
    EXPECT_EQ(dn, "ManagedElement=1");
}

TEST(DnUtil, ReplacesWhatTheResultHeld)
{
    std::string dn("something else");
    Orv::DnUtil::getDn("A=1", "B", "b", "*", dn);
    EXPECT_EQ(dn, "A=1,B=*");
}

TEST(DnUtil, AcceptsTheResultsOwnTextAsTheParent)
{
    std::string dn("A=1");
    Orv::DnUtil::getDn(dn.c_str(), "B", "b", "2", dn);
    EXPECT_EQ(dn, "A=1,B=2");
}

TEST(DnUtil, KeepsAnEmptyKeyValue)
{
    std::string dn;
    Orv::DnUtil::getDn("A=1", "B", "b", "", dn);
    EXPECT_EQ(dn, "A=1,B=");
}

TEST(DnUtil, ThrowsForANullParentClassOrKeyValueAndLeavesTheResultAlone)
{
    std::string dn("untouched");
    EXPECT_THROW(Orv::DnUtil::getDn(nullptr, "B", "b", "2", dn), Orv::OrvException);
    EXPECT_THROW(Orv::DnUtil::getDn("A=1", nullptr, "b", "2", dn), Orv::OrvException);
    EXPECT_THROW(Orv::DnUtil::getDn("A=1", "B", "b", nullptr, dn), Orv::OrvException);
    EXPECT_EQ(dn, "untouched");
}

TEST(DnUtil, TellsWhatItWasGivenWhenItThrows)
{
    std::string dn;
    try
    {
        Orv::DnUtil::getDn("A=1", nullptr, "b", "2", dn);
        FAIL();
    }
    catch (const Orv::OrvException& e)
    {
        EXPECT_STREQ(e.what(), "A DN cannot be formed from parent A=1, class (null), key value 2");
    }
}

}  // namespace
