#include "DirectoryWatch.h"

#include <dirent.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "ElementError.h"

namespace OrvElement
{

namespace
{

// A watch needs less than a look into the directory does; one that cannot be read is most likely the wrong one.
void requireReadable(const std::string& directory)
{
    DIR* opened = opendir(directory.c_str());
    if (opened == nullptr)
    {
        throw ElementError("cannot watch directory " + directory + ": " + std::strerror(errno));
    }
    closedir(opened);
}

}  // namespace

DirectoryWatch::DirectoryWatch(const std::string& directory) : _directory(directory)
{
    requireReadable(directory);
    _fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (_fd == -1 || inotify_add_watch(_fd, directory.c_str(),
                                       IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR) == -1)
    {
        const std::string cause = std::strerror(errno);
        if (_fd != -1)
        {
            close(_fd);
        }
        throw ElementError("cannot watch directory " + directory + ": " + cause);
    }
}

DirectoryWatch::~DirectoryWatch()
{
    close(_fd);
}

std::vector<std::string> DirectoryWatch::newFiles()
{
    std::set<std::string> names;
    alignas(inotify_event) char buffer[16 * 1024];
    ssize_t length = 0;
    while ((length = read(_fd, buffer, sizeof(buffer))) > 0)
    {
        for (ssize_t position = 0; position < length;)
        {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + position);
            position += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if ((event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0)
            {
                throw ElementError("directory " + _directory + " is gone");
            }
            if ((event->mask & IN_Q_OVERFLOW) != 0)
            {
                throw ElementError("too many files at once came into directory " + _directory);
            }
            if ((event->mask & IN_ISDIR) == 0)
            {
                names.insert(event->name);
            }
        }
    }
    std::vector<std::string> paths;
    for (const std::string& name : names)
    {
        paths.push_back(_directory + "/" + name);
    }
    return paths;
}

}  // namespace OrvElement
