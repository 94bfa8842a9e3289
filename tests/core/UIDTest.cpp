#include <dovo/UID.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using dovo::UID;

TEST(UIDTest, ParsesAndPrints)
{
    struct Row
    {
        const char* text;
        const char* printed; // nullptr: the parse fails and the UID is nil
    } rows[] = {
        {"ABCDEF01-2345-6789-ABCD-EF0123456789", "abcdef01-2345-6789-abcd-ef0123456789"},
        {"abcdef01x2345y6789zabcd_ef0123456789", "abcdef01-2345-6789-abcd-ef0123456789"},
        {"abcdef01-2345-6789-abcd-ef0123456789trailing", "abcdef01-2345-6789-abcd-ef0123456789"},
        {"abcdef01-2345-6789-abcd-ef012345678", nullptr}, // 35 characters
        {"abcdef01-2345-6789-abcd-ef01234567g9", nullptr},
        {"abcdef0-12345-6789-abcd-ef0123456789", nullptr},
        {"", nullptr},
    };
    for (const Row& row : rows) {
        UID id(true);
        EXPECT_EQ(id.FromString(row.text), row.printed != nullptr) << row.text;
        EXPECT_STREQ(id.ToString(), row.printed ? row.printed : "00000000-0000-0000-0000-000000000000") << row.text;
        EXPECT_EQ(static_cast<bool>(id), row.printed != nullptr) << row.text;
        EXPECT_EQ(UID(row.text, false), id) << row.text;
    }
    UID id(true);
    EXPECT_FALSE(id.FromString(nullptr));
    EXPECT_EQ(id, UID::Null);
    id = dovo::String("ABCDEF01-2345-6789-ABCD-EF0123456789");
    EXPECT_EQ(id.BinaryData()[0] * 256 + id.BinaryData()[15], 0xAB89);

    EXPECT_EQ(Thrown([] { UID("abcdef01-2345", true); }),
              "UID|String Creator|0x20000004|0|1|Unable to extract valid UID from abcdef01-2345");
}

TEST(UIDTest, NilFullAndOrder)
{
    const UID nil, zeros("00000000-0000-0000-0000-000000000000"), one("00000000-0000-0000-0000-000000000001"),
        high("80000000-0000-0000-0000-000000000000");
    EXPECT_EQ(nil, UID::Null);
    EXPECT_EQ(zeros, nil); // sixteen zero bytes equal the nil identifier...
    EXPECT_FALSE(zeros);   // ...and count as nil
    EXPECT_STREQ(UID::Full.ToString(), "ffffffff-ffff-ffff-ffff-ffffffffffff");
    // Unsigned byte order: 0x80 sorts after 0x00, Full after everything.
    const std::vector<UID> ordered{nil, one, high, UID::Full};
    for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << " " << j;
            EXPECT_EQ(ordered[i] == ordered[j], i == j) << i << " " << j;
        }
}

TEST(UIDTest, GeneratedAreVersion4AndDistinct)
{
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const UID id(true);
        ASSERT_TRUE(id);
        const std::string text = id.ToString();
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << text;
        EXPECT_EQ(UID(text.c_str()), id);
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

// Copies share one block across threads; the last holder frees it (AddressSanitizer and ThreadSanitizer
// builds see a wrong count as a leak, a double free or a race).
TEST(UIDTest, CopiesAcrossThreads)
{
    UID shared(true);
    const std::string text = shared.ToString();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                UID copy(shared), other;
                other = copy;
                other.Copy(copy);
                UID moved(std::move(copy));
                ASSERT_STREQ(moved.ToString(), text.c_str());
            }
        });
    for (auto& t : threads) t.join();
    UID last(shared);
    shared.Reset();
    EXPECT_STREQ(last.ToString(), text.c_str());
    last = last; // self-assignment keeps the block
    EXPECT_STREQ(last.ToString(), text.c_str());
}
