#include <dovo/Thread.h>

#include "log/LogItemPool.h"
#include "tests/support/TestSupport.h"

#include <set>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

// Empties the pool (and the calling thread's stash): what it held is made into items that are returned,
// so that every item made afterwards is either given back in the test or new.
std::vector<LogItem*> EmptyPool()
{
    std::vector<LogItem*> held;
    for (int i = 0; i < 4096 + 64; ++i) held.push_back(logitems::Make(Info, "held"));
    return held;
}

void Delete(std::vector<LogItem*>& items)
{
    for (LogItem* item : items) delete item;
    items.clear();
}

} // namespace

TEST(LogItemPool, ItemsGivenBackServeLaterCallsWithTheirOwnFields)
{
    std::vector<LogItem*> held = EmptyPool();
    // Made on another thread with a long text and another level, then given back.
    std::vector<LogItem*> given;
    std::uint32_t otherThread = 0;
    std::thread([&] {
        otherThread = Thread::CurrentThreadID();
        for (int i = 0; i < 3; ++i) given.push_back(logitems::Make(Error, String(std::string(300, 'x'))));
    }).join();
    for (LogItem* item : given) item->next = item; // as a kept item's link might be left
    logitems::GiveBack(given.data(), given.size());

    const std::set<LogItem*> reusable(given.begin(), given.end());
    const Time before = Time::CurrentTime();
    std::vector<LogItem*> made;
    for (int i = 0; i < 3; ++i) made.push_back(logitems::Make(Debug, "short"));
    for (LogItem* item : made) {
        EXPECT_TRUE(reusable.count(item));
        EXPECT_EQ(item->text, "short");
        EXPECT_EQ(item->level, Debug);
        EXPECT_GE(item->time.TotalMilliseconds(), before.TotalMilliseconds());
        EXPECT_EQ(item->thread_id, Thread::CurrentThreadID());
        EXPECT_NE(item->thread_id, otherThread);
        EXPECT_EQ(item->thread_name, LogItem(Info, "x").thread_name);
        EXPECT_EQ(item->next, nullptr);
    }
    Delete(made);
    Delete(held);
}

TEST(LogItemPool, ItemsTooLargeToKeepAreNotUsedAgain)
{
    std::vector<LogItem*> held = EmptyPool();
    LogItem* large = logitems::Make(Info, String(std::string(4000, 'y')));
    LogItem* small = logitems::Make(Info, "small");
    LogItem* items[] = {small, large};
    logitems::GiveBack(items, 2);
    // The small one comes back; the large one was deleted, so what follows is new.
    LogItem* first = logitems::Make(Info, "a");
    LogItem* second = logitems::Make(Info, "b");
    EXPECT_EQ(first, small);
    EXPECT_LE(second->text.str().capacity(), 1024u);
    delete first;
    delete second;
    Delete(held);
}

TEST(LogItemPool, AThreadThatEndsLeavesTheItemsItDidNotUse)
{
    std::vector<LogItem*> held = EmptyPool();
    std::vector<LogItem*> given;
    for (int i = 0; i < 40; ++i) given.push_back(new LogItem(Info, "given"));
    logitems::GiveBack(given.data(), given.size());
    // Whatever a thread holds ahead of its calls must not go with it when it ends.
    LogItem* onThread = nullptr;
    std::thread([&] { onThread = logitems::Make(Info, "thread"); }).join();

    std::set<LogItem*> reusable(given.begin(), given.end());
    ASSERT_TRUE(reusable.count(onThread));
    reusable.erase(onThread);
    delete onThread;
    std::vector<LogItem*> made;
    for (std::size_t i = 0; i < reusable.size(); ++i) made.push_back(logitems::Make(Info, "again"));
    for (LogItem* item : made) EXPECT_TRUE(reusable.count(item)) << "a new item while given ones were lost";
    Delete(made);
    Delete(held);
}
