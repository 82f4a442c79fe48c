#include "InstallPaths.h"

#include <filesystem>

namespace OrvElement
{

namespace
{

std::filesystem::path besideExecutable()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
}

}  // namespace

std::string defaultComponentPath()
{
    return besideExecutable() / "lib" / "liborv_notification_service.so";
}

std::string dataPath(const std::string& name)
{
    return besideExecutable() / "share" / "orv-element" / name;
}

}  // namespace OrvElement
