#include <dovo/SmartHandle.h>
#include <dovo/WeakPointerException.h>

#include "objects/OSError.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>

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
    try {
        oserror::SetLast(5);
        weak.Lock();
        FAIL() << "a dead object was locked";
    } catch (WeakPointerException* e) {
        std::unique_ptr<WeakPointerException> owned(e);
        // The thread's last OS error, taken at that moment.
        EXPECT_EQ(std::tuple(e->Module().str(), e->Method().str(), e->Error(), e->Message().str(), e->OSError(),
                             oserror::Last(), +e->Level()),
                  std::tuple("SmartCountedBase", "LockWeak", 0x2000000F,
                             "This weak pointer refers to an object that has a zero refcount", 5, 0, 1));
    }
    EXPECT_TRUE(weak.Expired()); // the failed lock changed no count

    try {
        SmartCountedObject strong{WeakCountedObject()};
        FAIL() << "a strong holder was made from nothing";
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        EXPECT_EQ(e->Module() + "|" + e->Message(),
                  "SmartCountedObject|Cannot construct a SmartCountedObject from and invalid WeakCountedObject");
    }
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
