#include "vxsystem/VXTArray.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(VXTArray, LayoutIsBufferCapacityThenSize)
{
    using Array = VXTArray<void*>;
    EXPECT_EQ(sizeof(Array), 16u);
    Array array;
    auto* raw = reinterpret_cast<unsigned char*>(&array);
    EXPECT_EQ(array.Add(&array), 0u);
    EXPECT_EQ(array.Add(nullptr), 1u);
    void* buffer = nullptr;
    unsigned int capacity = 0;
    unsigned int size = 0;
    std::memcpy(&buffer, raw, sizeof(buffer));
    std::memcpy(&capacity, raw + 8, sizeof(capacity));
    std::memcpy(&size, raw + 12, sizeof(size));
    EXPECT_EQ(buffer, array.QBase());
    EXPECT_EQ(capacity, array.QCapacity());
    EXPECT_EQ(size, 2u);
}

TEST(VXTArray, AddGrowsFromEmptyAndKeepsOrder)
{
    VXTArray<unsigned int> array;
    EXPECT_EQ(array.QCapacity(), 0u);
    EXPECT_EQ(array.QBase(), nullptr);
    EXPECT_EQ(array.Add(7), 0u);
    EXPECT_GE(array.QCapacity(), 1u);
    for (unsigned int i = 1; i < 1000; ++i)
        ASSERT_EQ(array.Add(i * 3), i);
    EXPECT_EQ(array.QSize(), 1000u);
    EXPECT_EQ(array[0], 7u);
    unsigned int sum = 0;
    for (unsigned int v : array)
        sum += v;
    EXPECT_EQ(sum, 7u + 3u * (999u * 1000u / 2u));
}

TEST(VXTArray, InsertAndRemoveKeepOrder)
{
    VXTArray<int> array;
    EXPECT_FALSE(array.Insert(1, 5)); // past the end
    EXPECT_TRUE(array.Insert(0, 2));
    EXPECT_TRUE(array.Insert(0, 0));
    EXPECT_TRUE(array.Insert(1, 1));
    EXPECT_TRUE(array.Insert(3, 3)); // append
    EXPECT_TRUE(array.Insert(4, 4)); // triggers growth past 4
    ASSERT_EQ(array.QSize(), 5u);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(array[i], i);
    array.RemoveAt(0);
    array.RemoveAt(2);
    array.RemoveAt(7); // ignored
    ASSERT_EQ(array.QSize(), 3u);
    EXPECT_EQ(array[0], 1);
    EXPECT_EQ(array[1], 2);
    EXPECT_EQ(array[2], 4);
    EXPECT_EQ(array.Find(4), 2u);
    EXPECT_EQ(array.Find(9), VXTArrayBase::INVALID_INDEX);
}

TEST(VXTArray, SetSizeClearResetAndMove)
{
    VXTArray<std::string> array;
    ASSERT_TRUE(array.SetSize(3));
    EXPECT_TRUE(array[2].empty());
    array[1] = std::string(100, 'x'); // heap-owning element must be destroyed, not leaked
    ASSERT_TRUE(array.SetSize(1));
    EXPECT_EQ(array.QSize(), 1u);
    EXPECT_EQ(array.Add("tail"), 1u);
    VXTArray<std::string> moved(std::move(array));
    EXPECT_EQ(array.QSize(), 0u);
    EXPECT_EQ(array.QCapacity(), 0u);
    ASSERT_EQ(moved.QSize(), 2u);
    EXPECT_EQ(moved[1], "tail");
    unsigned int capacity = moved.QCapacity();
    moved.Clear();
    EXPECT_EQ(moved.QCapacity(), capacity);
    moved.Reset();
    EXPECT_EQ(moved.QCapacity(), 0u);
    EXPECT_EQ(moved.QBase(), nullptr);
    EXPECT_FALSE(moved.SetSize(VXTArrayBase::INVALID_INDEX));
}

TEST(VXTArrayBase, MoveItemsHandlesOverlap)
{
    int data[6] = {0, 1, 2, 3, 4, 5};
    VXTArrayBase::MoveItems(data, 1, 0, 4, sizeof(int));
    EXPECT_EQ(data[1], 0);
    EXPECT_EQ(data[4], 3);
    EXPECT_EQ(data[5], 5);
    VXTArrayBase::MoveItems(data, 0, 2, 4, sizeof(int));
    EXPECT_EQ(data[0], 1);
    EXPECT_EQ(data[3], 5);
}
