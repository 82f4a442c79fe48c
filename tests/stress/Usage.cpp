#include "Usage.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>

namespace OrvStress
{

namespace
{

const double MEGABYTE = 1024 * 1024;

unsigned int entriesOf(const char* path)
{
    unsigned int count = 0;
    if (DIR* directory = opendir(path))
    {
        while (const dirent* entry = readdir(directory))
        {
            count += entry->d_name[0] != '.' ? 1 : 0;
        }
        closedir(directory);
    }
    return count;
}

}  // namespace

Usage Usage::now()
{
    Usage usage = Usage();
    if (FILE* file = std::fopen("/proc/self/statm", "r"))
    {
        unsigned long all = 0;
        unsigned long resident = 0;
        if (std::fscanf(file, "%lu %lu", &all, &resident) == 2)
        {
            usage.residentMegabytes =
                static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / MEGABYTE;
        }
        std::fclose(file);
    }
    const struct mallinfo2 heap = mallinfo2();
    usage.heapMegabytes = static_cast<double>(heap.uordblks + heap.hblkhd) / MEGABYTE;
    usage.threads = entriesOf("/proc/self/task");
    // One of them is the folder itself.
    usage.descriptors = entriesOf("/proc/self/fd") - 1;
    return usage;
}

}  // namespace OrvStress
