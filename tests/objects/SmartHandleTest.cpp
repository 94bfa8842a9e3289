#include <dovo/SmartHandle.h>
#include <dovo/WeakPointerException.h>

#include "objects/OSError.h"
#include "support/Checks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>

using namespace dovo;

namespace {

std::atomic<int> g_alive{0};

struct Shape
{
    Shape() { ++g_alive; }
    virtual ~Shape() { --g_alive; }
};
struct Circle : Shape, SmartFromThis<Circle>
{
    int radius = 3;
};

} // namespace

TEST(SmartHandle, TheObjectGoesWithTheLastStrongHandleAndTheBlockWithTheLastWeak)
{
    EXPECT_EQ(SmartCountedObject().RefCount() + WeakCountedObject().RefCount(), 0);
    WeakHandle<Shape> weak;
    {
        SmartHandle<Circle> circle(new Circle);
        SmartHandle<Shape> shape = circle; // a handle of the base type shares the block
        weak = shape;
        EXPECT_EQ(circle.RefCount(), 2);
        EXPECT_EQ(weak.Lock(), circle);
        EXPECT_EQ(shape.DynamicCast<Circle>(), circle);
        EXPECT_FALSE(shape.DynamicCast<std::string>());
        EXPECT_EQ(circle->GetSmartFromThis(), circle);
        EXPECT_EQ(circle.RefCount() * 10 + g_alive, 21);
        // Ordered by object, for sets and maps.
        const std::set<SmartHandle<Shape>> shapes{shape, SmartHandle<Shape>(circle), SmartHandle<Shape>(new Shape)};
        EXPECT_EQ(shapes.size() * 10 + shapes.count(shape), 21u);
    }
    EXPECT_EQ(g_alive, 0);
    EXPECT_TRUE(weak.Expired());
    // The thread's last OS error, taken at that moment; the failed lock changes no count.
    oserror::SetLast(5);
    std::unique_ptr<Exception> e;
    EXPECT_EQ(Thrown([&] { weak.Lock(); }, &e),
              "SmartCountedBase|LockWeak|0x2000000F|5|1|This weak pointer refers to an "
              "object that has a zero refcount");
    EXPECT_TRUE(dynamic_cast<WeakPointerException*>(e.get()) && oserror::Last() == 0 && weak.Expired());
    EXPECT_EQ(Thrown([] { SmartCountedObject strong{WeakCountedObject()}; }),
              "SmartCountedObject|SmartCountedObject|0x2000000F|0|1|Cannot construct a SmartCountedObject from and "
              "invalid WeakCountedObject");
}

TEST(SmartHandle, WeakHandlesRaceTheLastStrongRelease)
{
    for (int round = 0; round < 200; ++round) {
        auto strong = std::make_unique<SmartHandle<Circle>>(new Circle);
        WeakHandle<Circle> weak(*strong);
        std::atomic<bool> go{false};
        std::thread locker([&] {
            while (!go) std::this_thread::yield();
            for (int i = 0; i < 50; ++i) {
                try {
                    SmartHandle<Circle> held = weak.Lock();
                    ASSERT_EQ(held->radius, 3); // alive for as long as it is held
                } catch (WeakPointerException* e) {
                    delete e;
                    return;
                }
            }
        });
        go = true;
        strong.reset();
        locker.join();
        ASSERT_EQ(g_alive, 0);
    }
}
