// Files that come with the program, found from where it stands: ../lib and ../share beside the executable's folder.
#pragma once

#include <string>

namespace OrvElement
{

// The notification service's library.
std::string defaultComponentPath();

// A file or folder of the program's data, such as "demo/startup.xml".
std::string dataPath(const std::string& name);

}  // namespace OrvElement
