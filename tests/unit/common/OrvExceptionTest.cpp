#include "OrvException.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace
{

static_assert(std::is_nothrow_constructible<Orv::OrvException, const char*>::value, "made without an exception");
static_assert(std::is_nothrow_copy_constructible<Orv::OrvException>::value, "copied without an exception");

TEST(OrvException, BuildsItsTextPrintfStyle)
{
    const Orv::OrvException exception("%s has %d of %#x", "it", -3, 255u);
    EXPECT_STREQ(exception.what(), "it has -3 of 0xff");
}

TEST(OrvException, IsCaughtAsStdException)
{
    try
    {
        throw Orv::OrvException("the %s", "text");
    }
    catch (const std::exception& exception)
    {
        EXPECT_STREQ(exception.what(), "the text");
    }
}

TEST(OrvException, IsNoPocoException)
{
    EXPECT_FALSE((std::is_base_of<Poco::Exception, Orv::OrvException>::value));
}

TEST(OrvException, KeepsATextThatJustFits)
{
    const std::string text(Orv::OrvException::MAX_TEXT - 1, 'x');
    EXPECT_EQ(Orv::OrvException("%s", text.c_str()).what(), text);
}

TEST(OrvException, CutsATextThatIsTooLong)
{
    const std::string text(Orv::OrvException::MAX_TEXT, 'x');
    EXPECT_EQ(Orv::OrvException("%s", text.c_str()).what(), text.substr(1));
}

TEST(OrvException, WritesANullStringAsNull)
{
    const char* volatile nothing = nullptr;
    EXPECT_STREQ(Orv::OrvException("name %s", nothing).what(), "name (null)");
}

TEST(OrvException, KeepsItsTextInACopyThatOutlivesIt)
{
    auto* const original = new Orv::OrvException("number %d", 1);
    const Orv::OrvException copy(*original);
    delete original;
    EXPECT_STREQ(copy.what(), "number 1");
}

TEST(OrvException, KeepsAnEmptyText)
{
    EXPECT_STREQ(Orv::OrvException("%s", "").what(), "");
}

TEST(OrvException, SaysSoWhenItsTextCannotBeFormatted)
{
    // A wide character that has no form in the "C" locale makes the formatting fail.
    EXPECT_STREQ(Orv::OrvException("%lc", static_cast<wint_t>(0x4e2d)).what(),
                 "An exception whose text could not be formatted");
}

}  // namespace
