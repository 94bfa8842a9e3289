#include <dovo/SmartHandle.h>
#include <dovo/WeakPointerException.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
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
    EXPECT_EQ(SmartCountedObject().RefCount(), 0);
    EXPECT_EQ(WeakCountedObject().RefCount(), 0);
    WeakHandle<Shape> weak;
    {
        SmartHandle<Circle> circle(new Circle);
        SmartHandle<Shape> shape = circle; // a handle of the base type shares the block
        EXPECT_EQ(circle.RefCount(), 2);
        weak = shape;
        EXPECT_EQ(circle.RefCount(), 2);
        EXPECT_EQ(weak.Lock(), circle);
        EXPECT_EQ(shape.DynamicCast<Circle>(), circle);
        EXPECT_FALSE(shape.DynamicCast<std::string>());
        EXPECT_EQ(circle->GetSmartFromThis(), circle);
        EXPECT_EQ(circle.RefCount(), 2);
        EXPECT_EQ(g_alive, 1);
    }
    EXPECT_EQ(g_alive, 0);
    EXPECT_TRUE(weak.Expired());
    try {
        weak.Lock();
        FAIL() << "a dead object was locked";
    } catch (WeakPointerException* e) {
        std::unique_ptr<WeakPointerException> owned(e);
        EXPECT_EQ(e->Module(), "SmartCountedBase");
        EXPECT_EQ(e->Method(), "LockWeak");
        EXPECT_EQ(e->Error(), 0x2000000F);
        EXPECT_EQ(e->Message(), "This weak pointer refers to an object that has a zero refcount");
    }
    EXPECT_TRUE(weak.Expired()); // the failed lock changed no count

    try {
        SmartCountedObject strong{WeakCountedObject()};
        FAIL() << "a strong holder was made from nothing";
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        EXPECT_EQ(e->Module(), "SmartCountedObject");
        EXPECT_EQ(e->Message(), "Cannot construct a SmartCountedObject from and invalid WeakCountedObject");
    }
}

TEST(SmartHandle, OrdersByObjectForSetsAndMaps)
{
    std::set<SmartHandle<Shape>> shapes;
    SmartHandle<Shape> a(new Shape), b(new Shape);
    shapes.insert(a);
    shapes.insert(b);
    shapes.insert(SmartHandle<Shape>(a));
    EXPECT_EQ(shapes.size(), 2u);
    EXPECT_EQ(shapes.count(b), 1u);
    EXPECT_EQ(a.RefCount(), 2);
    shapes.clear();
    a.Reset();
    EXPECT_EQ(g_alive, 1);
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
