#include "OrvConfiguration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "OrvException.h"

namespace
{

// A directory of one test's own files.
class Folder
{
public:
    Folder() : _path(testing::TempDir() + "orv_configuration_XXXXXX")
    {
        if (mkdtemp(&_path[0]) == nullptr)
        {
            throw std::runtime_error("no temporary directory");
        }
    }
    ~Folder()
    {
        for (const std::string& file : _files)
        {
            unlink(file.c_str());
        }
        rmdir(_path.c_str());
    }

    const std::string& path() const { return _path; }
    std::string pathOf(const std::string& name)
    {
        _files.push_back(_path + "/" + name);
        return _files.back();
    }
    std::string write(const std::string& name, const std::string& content)
    {
        const std::string path = pathOf(name);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

private:
    std::string _path;
    std::vector<std::string> _files;
};

class OrvConfiguration : public testing::Test
{
protected:
    void loadText(const std::string& content) { _configuration.load(_folder.write("file.xml", content)); }

    // The cause that the exception names behind the path; "none" if the file is accepted.
    std::string causeFor(const std::string& path)
    {
        try
        {
            _configuration.load(path);
        }
        catch (const Orv::OrvException& exception)
        {
            const std::string text = exception.what();
            const std::string beginning = "Cannot use configuration file " + path + ": ";
            return text.compare(0, beginning.size(), beginning) == 0 ? text.substr(beginning.size())
                                                                     : "no path: " + text;
        }
        return "none";
    }
    std::string causeForText(const std::string& content) { return causeFor(_folder.write("file.xml", content)); }

    std::vector<std::string> textsOf(const std::string& name)
    {
        const Poco::AutoPtr<Poco::XML::NodeList> list = _configuration.getElementsByTagName(name);
        std::vector<std::string> texts;
        for (unsigned long i = 0; i < list->length(); ++i)
        {
            texts.push_back(_configuration.get_text(static_cast<Poco::XML::Element*>(list->item(i))));
        }
        return texts;
    }

    Folder _folder;
    Orv::OrvConfiguration _configuration;
};

std::string nested(int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
    {
        text += "<e>";
    }
    for (int i = 0; i < depth; ++i)
    {
        text += "</e>";
    }
    return text;
}

TEST_F(OrvConfiguration, FindsElementsAtAnyDepthWithTheRootAmongThem)
{
    loadText("<a>1<b><a>2<a>3</a></a></b></a>");
    EXPECT_EQ(textsOf("a"), (std::vector<std::string>{"123", "23", "3"}));
    EXPECT_EQ(textsOf("b"), std::vector<std::string>{"23"});
    EXPECT_TRUE(textsOf("c").empty());
}

TEST_F(OrvConfiguration, GivesTheTextUntrimmed)
{
    loadText("<a> \t7 \n</a>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{" \t7 \n"});
}

TEST_F(OrvConfiguration, GivesTheTextWithoutCommentsAndWithCharacterData)
{
    loadText("<a>1<!-- 2 -->3<![CDATA[<4>]]>&lt;<?x y?></a>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"13<4><"});
}

TEST_F(OrvConfiguration, GivesAnEmptyTextForAnEmptyElementAndForNull)
{
    loadText("<a/>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{""});
    EXPECT_EQ(_configuration.get_text(nullptr), "");
}

TEST_F(OrvConfiguration, ReadsTheUsualEncodings)
{
    loadText("\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?><a>\xc3\xa4</a>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"\xc3\xa4"});
    loadText("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xe4</a>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"\xc3\xa4"});
    loadText(std::string("\xff\xfe<\0a\0/\0>\0", 10));
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{""});
}

TEST_F(OrvConfiguration, TakesAPathForAPathAndNotForAUri)
{
    const std::string path = _folder.write("http:%41?b#c.xml", "<a>7</a>");
    _configuration.load(path);
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"7"});
    EXPECT_EQ(causeFor("file://" + path), "No such file or directory");
}

TEST_F(OrvConfiguration, SaysThatNoFileIsLoaded)
{
    EXPECT_THROW(_configuration.getElementsByTagName("a"), Orv::OrvException);
}

TEST_F(OrvConfiguration, ReleasesItsDocument)
{
    loadText("<a/>");
    _configuration.unload();
    EXPECT_THROW(_configuration.getElementsByTagName("a"), Orv::OrvException);
}

TEST_F(OrvConfiguration, MayBeUnloadedWhenNothingIsLoaded)
{
    EXPECT_NO_THROW(_configuration.unload());
    EXPECT_NO_THROW(_configuration.unload());
}

TEST_F(OrvConfiguration, ReplacesItsDocumentAtTheNextLoad)
{
    loadText("<a>1</a>");
    loadText("<a>2</a>");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"2"});
}

TEST_F(OrvConfiguration, HasNoDocumentAfterAFailedLoad)
{
    loadText("<a>1</a>");
    EXPECT_NE(causeForText("<a>"), "none");
    EXPECT_THROW(_configuration.getElementsByTagName("a"), Orv::OrvException);
}

// The descriptor that is opened next.
int nextDescriptor()
{
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

TEST_F(OrvConfiguration, KeepsNoFileOpen)
{
    const int before = nextDescriptor();
    EXPECT_EQ(causeForText("<a/>"), "none");
    EXPECT_EQ(causeForText(""), "the file is empty");
    EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(OrvConfiguration, ReadsAFileThatGetsTheDescriptorOfAClosedStandardInput)
{
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    EXPECT_EQ(nextDescriptor(), STDIN_FILENO);
    const std::string cause = causeForText("<a/>");
    if (input >= 0)
    {
        dup2(input, STDIN_FILENO);
        close(input);
    }
    EXPECT_EQ(cause, "none");
}

TEST_F(OrvConfiguration, RefusesAMissingFile)
{
    EXPECT_EQ(causeFor(_folder.path() + "/missing.xml"), "No such file or directory");
    EXPECT_EQ(causeFor(""), "No such file or directory");
}

TEST_F(OrvConfiguration, RefusesAFileThatCannotBeOpened)
{
    EXPECT_EQ(causeFor(_folder.write("plain", "<a/>") + "/file.xml"), "Not a directory");
    const std::string loop = _folder.pathOf("loop");
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    EXPECT_EQ(causeFor(loop), "Too many levels of symbolic links");
}

TEST_F(OrvConfiguration, RefusesAFileThatCannotBeRead)
{
    // The memory of the process is a regular file whose first page is never there.
    EXPECT_EQ(causeFor("/proc/self/mem"), "Input/output error");
}

TEST_F(OrvConfiguration, RefusesWhatIsNoRegularFile)
{
    EXPECT_EQ(causeFor(_folder.path()), "not a regular file");
    EXPECT_EQ(causeFor("/dev/zero"), "not a regular file");
}

TEST_F(OrvConfiguration, RefusesAFifoWithoutWaitingForItsWriter)
{
    const std::string fifo = _folder.pathOf("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(causeFor(fifo), "not a regular file");
}

TEST_F(OrvConfiguration, RefusesAnEmptyFile)
{
    EXPECT_EQ(causeForText(""), "the file is empty");
}

TEST_F(OrvConfiguration, ReadsAFileOfTheLargestSizeAndRefusesALargerOne)
{
    const std::string document = "<a>7</a>";
    const std::string blanks(Orv::OrvConfiguration::MAX_FILE_SIZE - document.size(), ' ');
    EXPECT_EQ(causeForText(document + blanks), "none");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"7"});
    EXPECT_EQ(causeForText(document + blanks + " "), "larger than 1048576 bytes");
}

TEST_F(OrvConfiguration, RefusesAHugeFileWithoutReadingItAll)
{
    // A terabyte of nothing: it would never be read to its end.
    const std::string path = _folder.write("huge.xml", "<a/>");
    ASSERT_EQ(truncate(path.c_str(), off_t(1) << 40), 0);
    EXPECT_EQ(causeFor(path), "larger than 1048576 bytes");
}

struct Malformed
{
    const char* name;
    std::string text;
};

void PrintTo(const Malformed& malformed, std::ostream* out)
{
    *out << malformed.name;
}

class OrvConfigurationMalformed : public OrvConfiguration, public testing::WithParamInterface<Malformed>
{
};

TEST_P(OrvConfigurationMalformed, IsRefusedWithTheParsersReason)
{
    const std::string cause = causeForText(GetParam().text);
    EXPECT_EQ(cause.compare(0, 8, "SAXParse"), 0) << cause;
    EXPECT_NE(cause.find("line"), std::string::npos) << cause;
}

INSTANTIATE_TEST_SUITE_P(
    Files, OrvConfigurationMalformed,
    testing::Values(Malformed{"BlanksAlone", " "}, Malformed{"TextAlone", "text"}, Malformed{"OpenElement", "<a>"},
                    Malformed{"WrongEndTag", "<a></b>"}, Malformed{"TwoRoots", "<a/><b/>"},
                    Malformed{"UnquotedAttribute", "<a b=1/>"}, Malformed{"RepeatedAttribute", "<a b='' b=''/>"},
                    Malformed{"UnboundPrefix", "<x:a/>"}, Malformed{"UnknownEntity", "<a>&nothing;</a>"},
                    Malformed{"InvalidUtf8", "<a>\xff\xfe</a>"}, Malformed{"ControlCharacter", "<a>\x01</a>"},
                    Malformed{"UnknownEncoding", "<?xml version=\"1.0\" encoding=\"UNKNOWN\"?><a/>"},
                    Malformed{"DoctypeInSmallLetters", "<!doctype a><a/>"},
                    Malformed{"NulCharacter", std::string("<a>\0</a>", 8)},
                    Malformed{"NulCharactersAlone", std::string(1000, '\0')}));

TEST_F(OrvConfiguration, NamesTheLineOfAnError)
{
    EXPECT_NE(causeForText("<a>\n\n<b></a>").find("line 3"), std::string::npos);
}

const char* const DTD_REFUSED = "a document type declaration is not allowed";

TEST_F(OrvConfiguration, RefusesADocumentTypeDeclaration)
{
    EXPECT_EQ(causeForText("<!DOCTYPE a><a/>"), DTD_REFUSED);
    EXPECT_EQ(causeForText("<!DOCTYPE a []><a/>"), DTD_REFUSED);
    EXPECT_EQ(causeForText("<!DOCTYPE a SYSTEM \"a.dtd\"><a/>"), DTD_REFUSED);
    EXPECT_EQ(causeForText("<?xml version='1.0'?>\n<!-- x -->\n<!DOCTYPE a [<!ELEMENT a ANY>]><a/>"), DTD_REFUSED);
}

TEST_F(OrvConfiguration, RefusesADocumentTypeDeclarationInAWideEncoding)
{
    std::string wide("\xff\xfe");
    for (const char c : std::string("<!DOCTYPE a><a/>"))
    {
        wide += c;
        wide += '\0';
    }
    EXPECT_EQ(causeForText(wide), DTD_REFUSED);
}

TEST_F(OrvConfiguration, RefusesADocumentTypeDeclarationInAMalformedFile)
{
    EXPECT_EQ(causeForText("<!DOCTYPE a [<!ENTITY x 'y'>]><a>&x;"), DTD_REFUSED);
}

TEST_F(OrvConfiguration, AcceptsTheWordsOfADocumentTypeDeclarationWhereTheyAreText)
{
    EXPECT_EQ(causeForText("<!-- <!DOCTYPE a> --><a><![CDATA[<!DOCTYPE a>]]></a>"), "none");
    EXPECT_EQ(textsOf("a"), std::vector<std::string>{"<!DOCTYPE a>"});
}

TEST_F(OrvConfiguration, RefusesEntities)
{
    const std::string secret = _folder.write("secret", "the secret");
    EXPECT_EQ(causeForText("<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>"), DTD_REFUSED);
    EXPECT_EQ(causeForText("<!DOCTYPE a [<!ENTITY e SYSTEM '" + secret + "'>]><a>&e;</a>"), DTD_REFUSED);
    EXPECT_EQ(causeForText("<!DOCTYPE a [<!ENTITY % e SYSTEM '" + secret + "'> %e;]><a/>"), DTD_REFUSED);
}

TEST_F(OrvConfiguration, RefusesEntitiesThatMultiply)
{
    std::string text = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
    for (int i = 1; i < 40; ++i)
    {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        text += "<!ENTITY e" + std::to_string(i) + " '" + inner + inner + "'>";
    }
    EXPECT_EQ(causeForText(text + "]><a b='&e39;'>&e39;</a>"), DTD_REFUSED);
}

TEST_F(OrvConfiguration, AcceptsElementsDownToTheDepthLimitAndRefusesDeeperOnes)
{
    EXPECT_EQ(causeForText(nested(Orv::OrvConfiguration::MAX_DEPTH)), "none");
    EXPECT_EQ(textsOf("e").size(), static_cast<size_t>(Orv::OrvConfiguration::MAX_DEPTH));
    EXPECT_EQ(causeForText(nested(Orv::OrvConfiguration::MAX_DEPTH + 1)), "elements are nested deeper than 256");
}

TEST_F(OrvConfiguration, RefusesAHundredThousandNestedElements)
{
    EXPECT_EQ(causeForText(nested(100000)), "elements are nested deeper than 256");
}

TEST_F(OrvConfiguration, AcceptsManyElementsSideBySide)
{
    std::string text = "<a>";
    for (int i = 0; i < 100000; ++i)
    {
        text += "<b/>";
    }
    EXPECT_EQ(causeForText(text + "<c>7</c></a>"), "none");
    EXPECT_EQ(textsOf("c"), std::vector<std::string>{"7"});
}

TEST_F(OrvConfiguration, AcceptsManyDifferentNames)
{
    std::string text = "<a>";
    for (int i = 0; i < 20000; ++i)
    {
        text += "<b" + std::to_string(i) + " c" + std::to_string(i) + "=''/>";
    }
    EXPECT_EQ(causeForText(text + "</a>"), "none");
    EXPECT_EQ(textsOf("b19999"), std::vector<std::string>{""});
}

TEST_F(OrvConfiguration, AcceptsManyDifferentNamesOfAttributesAlone)
{
    std::string text = "<a>";
    for (int i = 0; i < 20000; ++i)
    {
        text += "<b c" + std::to_string(i) + "=''/>";
    }
    EXPECT_EQ(causeForText(text + "</a>"), "none");
    EXPECT_EQ(textsOf("b").size(), 20000u);
}

TEST_F(OrvConfiguration, TellsThatATextIsMalformedBeforeThatItIsTooDeep)
{
    std::string text;
    for (int i = 0; i <= Orv::OrvConfiguration::MAX_DEPTH; ++i)
    {
        text += "<e>";
    }
    const std::string cause = causeForText(text);
    EXPECT_NE(cause, "none");
    EXPECT_EQ(cause.find("nested"), std::string::npos) << cause;
}

TEST_F(OrvConfiguration, WritesPercentSignsOfAPathAsTheyStand)
{
    EXPECT_EQ(causeFor("/nowhere/%s%n%d"), "No such file or directory");
}

TEST_F(OrvConfiguration, ShowsAPathOf512CharactersWholeAndCutsALongerOneAtItsBeginning)
{
    // Folders of short names, since a long name is an error of its own.
    std::string path;
    while (path.size() < 512)
    {
        path += "/nowhere";
    }
    const std::string missing = "No such file or directory";
    EXPECT_EQ(causeFor(path), missing);
    try
    {
        _configuration.load("/" + path);
        FAIL() << "no such file";
    }
    catch (const Orv::OrvException& exception)
    {
        EXPECT_EQ(exception.what(), "Cannot use configuration file ..." + path + ": " + missing);
    }
}

TEST_F(OrvConfiguration, StillNamesTheCauseForAVeryLongPath)
{
    const std::string path = "/" + std::string(3000, 'x') + "/the_end.xml";
    try
    {
        _configuration.load(path);
        FAIL() << "no such file";
    }
    catch (const Orv::OrvException& exception)
    {
        const std::string text = exception.what();
        EXPECT_EQ(text.compare(0, 34, "Cannot use configuration file ...x"), 0) << text;
        EXPECT_NE(text.find("x/the_end.xml: File name too long"), std::string::npos) << text;
    }
}

}  // namespace
