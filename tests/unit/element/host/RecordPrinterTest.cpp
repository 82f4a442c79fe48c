#include "RecordPrinter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace OrvElement
{
namespace
{

OrvOamSpiNbiNotificationValue_1 replayCompleteRecord()
{
    OrvOamSpiNbiNotificationValue_1 record = {};
    record.notificationType = replayComplete;
    return record;
}

// A stream whose content can be read back.
class MemoryStream
{
public:
    MemoryStream() : _stream(open_memstream(&_buffer, &_size)) {}
    ~MemoryStream()
    {
        std::fclose(_stream);
        std::free(_buffer);
    }
    std::FILE* get() { return _stream; }
    // What the printer has flushed.
    std::string content() const { return std::string(_buffer, _size); }

    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;

private:
    char* _buffer = nullptr;
    size_t _size = 0;
    std::FILE* const _stream;
};

TEST(RecordPrinter, FlushesEachRecordAsALineOfItsFormat)
{
    MemoryStream stream;
    const auto fail = [] { ADD_FAILURE() << "called"; };
    RecordPrinter text(stream.get(), RecordFormat::Text, fail);
    text.print("a", replayCompleteRecord());
    EXPECT_EQ(stream.content(), "a replayComplete 1970-01-01T00:00:00.000000Z\n");
    RecordPrinter json(stream.get(), RecordFormat::Json, fail);
    json.print("b", replayCompleteRecord());
    EXPECT_NE(
        stream.content().find(
            "\n{\"subscription\":\"b\",\"type\":\"replayComplete\",\"eventTime\":\"1970-01-01T00:00:00.000000Z\"}\n"),
        std::string::npos);
    EXPECT_FALSE(text.failed());
}

TEST(RecordPrinter, NeverBreaksALineByAnother)
{
    MemoryStream stream;
    RecordPrinter printer(stream.get(), RecordFormat::Text, [] {});
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&printer, t]
            {
                for (int i = 0; i < 100; ++i)
                {
                    printer.print("s" + std::to_string(t), replayCompleteRecord());
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    std::istringstream lines(stream.content());
    std::multiset<std::string> found;
    for (std::string line; std::getline(lines, line);)
    {
        found.insert(line);
    }
    EXPECT_EQ(found.size(), 400u);
    for (int t = 0; t < 4; ++t)
    {
        EXPECT_EQ(found.count("s" + std::to_string(t) + " replayComplete 1970-01-01T00:00:00.000000Z"), 100u);
    }
}

TEST(RecordPrinter, TellsOnceThatALineCannotBeWritten)
{
    std::FILE* full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    int failures = 0;
    RecordPrinter printer(full, RecordFormat::Text, [&failures] { ++failures; });
    printer.print("a", replayCompleteRecord());
    printer.print("a", replayCompleteRecord());
    EXPECT_TRUE(printer.failed());
    EXPECT_EQ(failures, 1);
    std::fclose(full);
}

}  // namespace
}  // namespace OrvElement
