#include "MeIdTranslator.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

std::string toOutside(const std::string& internalDn)
{
    return internalDn.empty() ? std::string() : "Outside," + internalDn;
}

std::string fail(const std::string&)
{
    throw std::runtime_error("no translation");
}

class MeIdTranslator : public testing::Test
{
protected:
    ~MeIdTranslator() override { Orv::MeIdTranslator::instance().setTranslation(nullptr); }

    Orv::MeIdTranslator& _translator = Orv::MeIdTranslator::instance();
};

TEST_F(MeIdTranslator, IsTheIdentityByDefault)
{
    EXPECT_EQ(_translator.toExternalDn("ManagedElement=1,A=2"), "ManagedElement=1,A=2");
    EXPECT_EQ(_translator.toExternalDn(""), "");
}

TEST_F(MeIdTranslator, UsesTheTranslationOfTheHost)
{
    _translator.setTranslation(&toOutside);
    EXPECT_EQ(_translator.toExternalDn("A=2"), "Outside,A=2");
}

TEST_F(MeIdTranslator, HandsOutAnEmptyStringForADnWithoutExternalForm)
{
    _translator.setTranslation(&toOutside);
    EXPECT_EQ(_translator.toExternalDn(""), "");
}

TEST_F(MeIdTranslator, IsTheIdentityAgainAfterANullTranslation)
{
    _translator.setTranslation(&toOutside);
    _translator.setTranslation(nullptr);
    EXPECT_EQ(_translator.toExternalDn("A=2"), "A=2");
}

TEST_F(MeIdTranslator, LetsTheExceptionOfATranslationPass)
{
    _translator.setTranslation(&fail);
    EXPECT_THROW(_translator.toExternalDn("A=2"), std::runtime_error);
}

TEST_F(MeIdTranslator, IsOneObjectForTheWholeProcess)
{
    EXPECT_EQ(&Orv::MeIdTranslator::instance(), &Orv::MeIdTranslator::instance());
}

}  // namespace
