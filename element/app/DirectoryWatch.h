#pragma once

#include <string>
#include <vector>

namespace OrvElement
{

// Tells of the files that come into a directory: written and closed, or moved in. What is there already is not told.
// Threads: one at a time.
// Failure: ElementError if the directory cannot be watched, or is gone.
class DirectoryWatch
{
public:
    explicit DirectoryWatch(const std::string& directory);
    ~DirectoryWatch();

    // Readable when files have come.
    int descriptor() const { return _fd; }

    // The paths of the files that have come since the last call, in the order of their names, each once.
    std::vector<std::string> newFiles();

    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

private:
    const std::string _directory;
    int _fd;
};

}  // namespace OrvElement
