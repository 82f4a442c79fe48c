#include "Singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

namespace
{

class Counted : public Orv::Singleton<Counted>
{
public:
    static std::atomic<int> constructions;

private:
    friend class Orv::Singleton<Counted>;
    Counted() { ++constructions; }
};
std::atomic<int> Counted::constructions{0};

class Raced : public Orv::Singleton<Raced>
{
public:
    static std::atomic<int> constructions;

private:
    friend class Orv::Singleton<Raced>;
    Raced() { ++constructions; }
};
std::atomic<int> Raced::constructions{0};

TEST(Singleton, IsMadeAtItsFirstUseAndOnlyOnce)
{
    // The object outlives the test, so a repetition finds it made.
    static bool used = false;
    EXPECT_EQ(Counted::constructions, used ? 1 : 0);
    used = true;
    Counted& first = Counted::instance();
    EXPECT_EQ(Counted::constructions, 1);
    EXPECT_EQ(&Counted::instance(), &first);
    EXPECT_EQ(Counted::constructions, 1);
}

TEST(Singleton, IsMadeOnceWhenManyThreadsAskForItAtOnce)
{
    std::vector<Raced*> seen(8, nullptr);
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (Raced*& place : seen)
    {
        threads.emplace_back(
            [&]
            {
                while (!go)
                {
                    std::this_thread::yield();
                }
                place = &Raced::instance();
            });
    }
    go = true;
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(std::set<Raced*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_EQ(Raced::constructions, 1);
}

}  // namespace
