#include "NameValuePair.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

const char CARRIED[] = "carried along";

TEST(NameValuePair, HoldsItsOwnTextOfNameAndValue)
{
    std::string name = "name";
    std::string value = "value";
    const Orv::NameValuePair pair(name, value);
    name = "xxxx";
    value = "yyyyy";
    EXPECT_STREQ(pair.name, "name");
    EXPECT_STREQ(pair.value, "value");
    EXPECT_EQ(pair.name, pair._name.c_str());
    EXPECT_EQ(pair.value, pair._value.c_str());
}

TEST(NameValuePair, IsBornWithAnEmptyNameAndNoValue)
{
    const Orv::NameValuePair pair;
    EXPECT_STREQ(pair.name, "");
    EXPECT_EQ(pair.value, nullptr);
}

TEST(NameValuePair, ACopyDoesNotLeanOnItsOriginal)
{
    auto original = std::make_unique<Orv::NameValuePair>("name", "value");
    const Orv::NameValuePair copy(*original);
    EXPECT_NE(copy.name, original->name);
    EXPECT_NE(copy.value, original->value);
    original.reset();
    EXPECT_STREQ(copy.name, "name");
    EXPECT_STREQ(copy.value, "value");
}

TEST(NameValuePair, AnAssignedOneDoesNotLeanOnItsOriginal)
{
    auto original = std::make_unique<Orv::NameValuePair>("a name that is too long for a short string", "value");
    Orv::NameValuePair copy("other", "text");
    copy = *original;
    original.reset();
    EXPECT_STREQ(copy.name, "a name that is too long for a short string");
    EXPECT_STREQ(copy.value, "value");
    EXPECT_EQ(copy.value, copy._value.c_str());
}

TEST(NameValuePair, CarriesAPointerAlongThatItDoesNotHold)
{
    Orv::NameValuePair pair;
    pair.value = CARRIED;
    const Orv::NameValuePair copy(pair);
    EXPECT_EQ(copy.value, CARRIED);
    EXPECT_EQ(copy.name, copy._name.c_str());
    Orv::NameValuePair assigned("name", "value");
    assigned = pair;
    EXPECT_EQ(assigned.value, CARRIED);
    EXPECT_STREQ(assigned.name, "");
}

TEST(NameValuePair, SurvivesItsAssignmentToItself)
{
    Orv::NameValuePair pair("name", "value");
    const Orv::NameValuePair& same = pair;
    pair = same;
    EXPECT_STREQ(pair.name, "name");
    EXPECT_STREQ(pair.value, "value");
}

}  // namespace
