#pragma once

#include <string>

namespace OrvTest
{

// A directory of its own below the system's place for temporary files, removed with its content at the end, by the
// parent if the process dies as the child of a death test.
class TemporaryDirectory
{
public:
    TemporaryDirectory();
    ~TemporaryDirectory();

    const std::string& path() const { return _path; }
    // Writes a file and gives its path.
    std::string write(const std::string& name, const std::string& content) const;

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

private:
    std::string _path;
};

}  // namespace OrvTest
