#include <dovo/Thread.h>

#include "log/LogItemPool.h"
#include "tests/support/Checks.h"
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

// Given back: items made on a thread that has ended, with another level, a long text and a stale link, and one
// whose text held more than the pool keeps. A thread that ends after taking one leaves the others to later calls,
// which get their own fields; the large one is not used again.
TEST(LogItemPool, ItemsGivenBackServeLaterCallsOnAnyThreadWithTheirOwnFields)
{
    std::vector<LogItem*> held = EmptyPool();
    std::vector<LogItem*> given;
    std::uint32_t otherThread = 0;
    std::thread([&] {
        otherThread = Thread::CurrentThreadID();
        for (int i = 0; i < 3; ++i) given.push_back(logitems::Make(Error, String(std::string(300, 'x'))));
    }).join();
    for (LogItem* item : given) item->next = item; // as a kept item's link might be left
    const std::set<LogItem*> reusable(given.begin(), given.end());
    given.push_back(logitems::Make(Info, String(std::string(4000, 'y'))));
    logitems::GiveBack(given.data(), given.size());

    std::vector<LogItem*> made(1);
    std::thread([&] { made[0] = logitems::Make(Info, "thread"); }).join();
    const Time before = Time::CurrentTime();
    for (int i = 0; i < 3; ++i) made.push_back(logitems::Make(Debug, "short"));
    EXPECT_EQ(std::set<LogItem*>(made.begin(), made.begin() + 3), reusable) << "a given item was lost or not used";
    EXPECT_LE(made[3]->text.str().capacity(), 1024u);
    for (LogItem* item : {made[1], made[2]})
        EXPECT_EQ(Joined(item->text, item->level, item->time >= before, item->thread_id, item->thread_name,
                         item->next == nullptr),
                  Joined("short", Debug, true, Thread::CurrentThreadID(), LogItem(Info, "x").thread_name, true));
    EXPECT_NE(otherThread, Thread::CurrentThreadID());
    Delete(made);
    Delete(held);
}
