#include "TemporaryDirectory.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace OrvTest
{

namespace
{

const char* const ROOT_VARIABLE = "ORV_TEST_ROOT";
const char* const MAKER_VARIABLE = "ORV_TEST_ROOT_MAKER";

std::string makeDirectory(const std::filesystem::path& parent)
{
    std::string path = (parent / "orv-test-XXXXXX").string();
    if (mkdtemp(&path[0]) == nullptr)
    {
        throw std::runtime_error("no temporary directory: " + path);
    }
    return path;
}

void removeDirectory(const std::string& path)
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

// The child of a death test does not live to clean up. So the first process of a test makes one directory for itself
// and its children, which find it through the environment, and removes it with all that is left in there. It is still
// the same process when another program has taken its place.
class Root
{
public:
    Root() : _maker(0)
    {
        const char* const inherited = std::getenv(ROOT_VARIABLE);
        if (inherited != nullptr)
        {
            _path = inherited;
            const char* const maker = std::getenv(MAKER_VARIABLE);
            _maker = maker != nullptr && maker == std::to_string(getpid()) ? getpid() : 0;
            return;
        }
        _path = makeDirectory(std::filesystem::temp_directory_path());
        _maker = getpid();
        setenv(ROOT_VARIABLE, _path.c_str(), 1);
        setenv(MAKER_VARIABLE, std::to_string(_maker).c_str(), 1);
    }
    ~Root()
    {
        if (_maker == getpid())
        {
            removeDirectory(_path);
        }
    }

    const std::string& path() const { return _path; }

    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

private:
    std::string _path;
    pid_t _maker;
};

// Made before main: a child is started by the process that runs the test.
const Root root;

}  // namespace

TemporaryDirectory::TemporaryDirectory() : _path(makeDirectory(root.path())) {}

TemporaryDirectory::~TemporaryDirectory()
{
    removeDirectory(_path);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& content) const
{
    const std::string path = _path + "/" + name;
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file)
    {
        throw std::runtime_error("cannot write " + path);
    }
    return path;
}

}  // namespace OrvTest
