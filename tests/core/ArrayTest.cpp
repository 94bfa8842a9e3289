#include <dovo/Array.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dovo::Array;

namespace {

std::vector<int> Items(const Array& a)
{
    std::vector<int> out;
    for (int i = 0; i < a.Count(); ++i) out.push_back(*static_cast<const int*>(a[i]));
    return out;
}

// Items that own a heap string: copies and clears are counted so a missed or doubled one shows.
struct Owning : Array
{
    static inline int live = 0;
    Owning() : Array(2, 0, sizeof(std::string*)) {}
    Owning(const Owning& o) : Array(0, 0, sizeof(std::string*)) { Array::operator=(o); }
    Owning& operator=(const Owning& o) = default;
    ~Owning() override { Clear(true); }
    void CopyItem(const void* source, void* slot) override
    {
        *static_cast<std::string**>(slot) = new std::string(**static_cast<std::string* const*>(source));
        ++live;
    }
    void ClearItem(void* slot) override
    {
        delete *static_cast<std::string**>(slot);
        --live;
    }
};

} // namespace

TEST(ArrayTest, GrowthSteps)
{
    // capacity, grow-by, the capacity after the next Add to a full array
    struct Row
    {
        int initial, growBy, grown;
    } rows[] = {{100, 0, 112}, {20000, 0, 21024}, {0, 0, 8}, {16, 0, 24}, {10, 3, 13}};
    for (const Row& row : rows) {
        Array a(row.initial, row.growBy, 4);
        for (int i = 0; i <= row.initial; ++i) a.Add(&i);
        EXPECT_EQ(a.Capacity(), row.grown) << row.initial << " by " << row.growBy;
        EXPECT_EQ(a.Count(), row.initial + 1);
        EXPECT_EQ(*static_cast<int*>(a[row.initial]), row.initial);
    }
    Array eight(1, 1, 0); // item size 0 means 8 bytes
    long long big = 0x0102030405060708LL;
    eight.Add(&big), eight.Add(&big);
    EXPECT_EQ(*static_cast<long long*>(eight[1]), big);
}

TEST(ArrayTest, InsertDeleteShift)
{
    Array a(2, 0, sizeof(int));
    for (int v : {1, 2, 3}) a.Add(&v);
    int v = 9;
    EXPECT_EQ(a.Insert(-1, &v), 3);
    EXPECT_EQ(a.Insert(4, &v), 4);
    v = 0;
    EXPECT_EQ(a.Insert(0, &v), 0);
    EXPECT_EQ(Items(a), (std::vector<int>{0, 1, 2, 3, 9, 9}));
    EXPECT_EQ(a.Delete(1, 2), 2);
    EXPECT_EQ(Items(a), (std::vector<int>{0, 3, 9, 9}));
    EXPECT_EQ(a.Delete(3, 5), 1);
    EXPECT_EQ(a.Delete(7, 1), 0);
    EXPECT_EQ(Items(a), (std::vector<int>{0, 3, 9}));
    a.Shift(1, 2, 2); // grows the count over a zeroed gap
    EXPECT_EQ(Items(a), (std::vector<int>{0, 0, 0, 3, 9}));
    a.Shift(3, 4, -2);
    EXPECT_EQ(Items(a), (std::vector<int>{0, 3, 9}));
    a.Clear(true);
    EXPECT_EQ(a.Count(), 0);
    EXPECT_EQ(a.Capacity(), 2);
    a.Shift(0, 0, 3); // nothing to move
    EXPECT_EQ(a.Count(), 0);
}

TEST(ArrayTest, Failures)
{
    Array a(4, 0, sizeof(int));
    int v = 1;
    a.Add(&v);
    const std::string shiftBefore = "Shift|Attempting to shift starting before beginning of the array",
                      moveBefore = "Shift|Attempt to shift will move items before beginning of array";
    // {call, "method|message"}: each refused with error 0x20000005, the array left as it was.
    const std::pair<void (*)(Array&), std::string> rows[] = {
        {[](Array& a) { a.GetAt(1); }, "GetAt|Requested index 1 is beyond current limit 1"},
        {[](Array& a) { a.GetAt(-1); }, "GetAt|Requested index -1 is beyond current limit 1"},
        {[](Array& a) { a.Shift(-1, 0, 1); }, shiftBefore},
        {[](Array& a) { a.Shift(0, 0, -1); }, moveBefore},
        {[](Array& a) { a.Delete(-3, 1); }, shiftBefore},
        {[](Array& a) { a.Delete(-1, 1); }, moveBefore}};
    for (const auto& [call, expected] : rows) {
        const std::string method = expected.substr(0, expected.find('|'));
        EXPECT_EQ(Thrown([&] { call(a); }), "Array|" + method + "|0x20000005|0|1" + expected.substr(method.size()));
    }
    EXPECT_EQ(Items(a), (std::vector<int>{1}));
}

TEST(ArrayTest, OwningItemsCopiedAndClearedOnce)
{
    {
        Owning a;
        for (const char* s : {"a", "b", "c"}) {
            std::string text(s);
            std::string* p = &text;
            a.Add(&p);
        }
        Owning copy(a), assigned;
        assigned = a;
        a.Delete(0, 1);
        EXPECT_EQ(**static_cast<std::string**>(copy[0]), "a");
        EXPECT_EQ(**static_cast<std::string**>(assigned[2]), "c");
        EXPECT_EQ(**static_cast<std::string**>(a[0]), "b");
        EXPECT_EQ(Owning::live, 8);
    }
    EXPECT_EQ(Owning::live, 0);
}
