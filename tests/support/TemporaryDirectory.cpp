#include "TemporaryDirectory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace OrvTest
{

TemporaryDirectory::TemporaryDirectory() : _path((std::filesystem::temp_directory_path() / "orv-test-XXXXXX").string())
{
    if (mkdtemp(&_path[0]) == nullptr)
    {
        throw std::runtime_error("no temporary directory: " + _path);
    }
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
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
