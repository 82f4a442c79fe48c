#include "DataText.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "ModelTestSupport.h"
#include "TemporaryDirectory.h"

using namespace OrvElement;
using ModelTest::errorOf;

namespace
{

const std::string BASE = "urn:ietf:params:xml:ns:netconf:base:1.0";

}  // namespace

TEST(DataText, AFileIsReadWhole)
{
    const std::string content(200000, 'x');
    const ModelTest::TemporaryFile file(".xml", content);
    EXPECT_EQ(readTextFile(file.path()), content);
}

TEST(DataText, AByteOrderMarkIsNoContent)
{
    const ModelTest::TemporaryFile file(".cfg", "\xEF\xBB\xBF<a/>");
    EXPECT_EQ(readTextFile(file.path()), "<a/>");
}

TEST(DataText, AMissingFileIsNamedWithTheCause)
{
    EXPECT_EQ(errorOf([] { readTextFile("/no/such/file.xml"); }), "/no/such/file.xml: No such file or directory");
}

TEST(DataText, AFolderIsNoFile)
{
    EXPECT_EQ(errorOf([] { readTextFile("/usr"); }), "/usr: not a regular file");
}

TEST(DataText, WhatHasNoEndIsNoFile)
{
    EXPECT_EQ(errorOf([] { readTextFile("/dev/zero"); }), "/dev/zero: not a regular file");
}

TEST(DataText, AFifoIsNotWaitedFor)
{
    const OrvTest::TemporaryDirectory directory;
    const std::string path = directory.path() + "/fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(errorOf([&] { readTextFile(path); }), path + ": not a regular file");
}

TEST(DataText, AFileAsLargeAsMayBeIsRead)
{
    const ModelTest::TemporaryFile file(".xml", "12345");
    EXPECT_EQ(readTextFile(file.path(), 5), "12345");
}

TEST(DataText, ALargerFileIsRefused)
{
    const ModelTest::TemporaryFile file(".xml", "123456");
    EXPECT_EQ(errorOf([&] { readTextFile(file.path(), 5); }), file.path() + ": larger than 5 bytes");
}

TEST(DataText, AFileThatDoesNotTellItsSizeIsRefusedAllTheSame)
{
    EXPECT_EQ(errorOf([] { readTextFile("/proc/self/status", 5); }), "/proc/self/status: larger than 5 bytes");
}

TEST(DataText, WithoutABoundOfItsOwnAFileMayHaveOneGibibyte)
{
    const ModelTest::TemporaryFile file(".xml", "x");
    std::filesystem::resize_file(file.path(), 1073741825);  // takes no room
    EXPECT_EQ(errorOf([&] { readTextFile(file.path()); }), file.path() + ": larger than 1073741824 bytes");
}

TEST(DataText, AnEmptyFileIsAnError)
{
    const ModelTest::TemporaryFile file(".xml", " \n");
    EXPECT_EQ(errorOf([&] { readTextFile(file.path()); }), file.path() + ": the file is empty");
}

TEST(DataText, TheEndingOfTheNameDecidesTheFormat)
{
    EXPECT_EQ(formatOf("a.xml", "{}"), EditFormat::Xml);
    EXPECT_EQ(formatOf("a.json", "<a/>"), EditFormat::Json);
}

TEST(DataText, WithoutAKnownEndingTheContentDecides)
{
    EXPECT_EQ(formatOf("a.txt", " \n<a/>"), EditFormat::Xml);
    EXPECT_EQ(formatOf("a", "{ \"b\": 1 }"), EditFormat::Json);
    EXPECT_EQ(formatOf("a", ""), EditFormat::Json);
}

TEST(DataText, TextWithoutAWrapperStaysAsItIs)
{
    for (const std::string text : {"<a xmlns=\"urn:a\"><config/></a>", "<config xmlns=\"urn:other\"><a/></config>", "",
                                   "no markup", "<!-- c --><a/>", "<a"})
    {
        EXPECT_EQ(unwrapXml(text), text);
    }
}

TEST(DataText, AWrapperGivesItsContent)
{
    const std::string in = "<?xml version=\"1.0\"?><!-- <x> --><config xmlns=\"" + BASE +
                           "\"><a xmlns='urn:a'><b>1 > 0</b></a><c xmlns=\"urn:c\" k='>'/></config>";
    EXPECT_EQ(unwrapXml(in), "<a xmlns='urn:a'><b>1 > 0</b></a><c xmlns=\"urn:c\" k='>'/>");
    EXPECT_EQ(unwrapXml("<data xmlns='" + BASE + "'/>"), "");
    EXPECT_EQ(unwrapXml("<config xmlns='" + BASE + "'></config>"), "");
}

TEST(DataText, WhatTheWrapperDeclaresReachesEachElementInIt)
{
    const std::string in = "<nc:config xmlns:nc=\"" + BASE +
                           "\" xmlns:x='urn:x'><a xmlns='urn:a'><i/></a><b xmlns='urn:b' xmlns:x='urn:y'/></nc:config>";
    EXPECT_EQ(unwrapXml(in), "<a xmlns:nc=\"" + BASE + "\" xmlns:x='urn:x' xmlns='urn:a'><i/></a><b xmlns:nc=\"" +
                                 BASE + "\" xmlns='urn:b' xmlns:x='urn:y'/>");
}

TEST(DataText, MarkupInCommentsAndCdataIsNotCounted)
{
    const std::string content = "<a xmlns='u'><!-- </config> --><![CDATA[</a>]]></a>";
    const std::string out = unwrapXml("<config xmlns='" + BASE + "'>" + content + "</config>");
    EXPECT_EQ(out, content);
}

TEST(DataText, AWrapperThatIsNotClosedIsAnError)
{
    for (const std::string rest : {"", "<a>", "<a></a></other>", "<a b='", "</config"})
    {
        EXPECT_EQ(errorOf([&] { unwrapXml("<config xmlns='" + BASE + "'>" + rest); }),
                  "malformed XML: the element <config> is not closed")
            << rest;
    }
}
