// The input is the content of the configuration file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include "FakeFramework.h"
#include "FuzzCheck.h"
#include "NotificationConfigHandler.h"

namespace
{

// A file that is never on a disk.
class MemoryFile
{
public:
    MemoryFile() : _fd(memfd_create("configuration", MFD_CLOEXEC)) { OrvFuzz::check(_fd >= 0, "no memory file"); }

    void fill(const uint8_t* data, size_t size) const
    {
        OrvFuzz::check(ftruncate(_fd, 0) == 0 && pwrite(_fd, data, size, 0) == static_cast<ssize_t>(size),
                       "the memory file cannot be written");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(_fd); }

private:
    const int _fd;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static OrvTest::FakeFramework& framework = *new OrvTest::FakeFramework;
    static const OrvTest::CommonSession& session = *new OrvTest::CommonSession(framework);
    static const MemoryFile file;
    (void)session;
    framework.setLevel(8);
    file.fill(data, size);

    OrvNbiNotificationService::NotificationConfigHandler handler;
    const int result = handler.load(file.path());
    OrvFuzz::check(result == 0 || result == -1, "an answer that does not exist");
    OrvFuzz::check(result == -1 || !handler.getBufferSize().empty(), "loaded, but without a size");
    OrvFuzz::check(handler.getBufferSizeInt() == 0 || result == 0, "a size in spite of a failure");
    framework.log().clear();
    return 0;
}
