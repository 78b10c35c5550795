#include "vxsystem/VXTArray.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{
template <class T> std::vector<T> Items(VXTArray<T> const& array)
{
    return std::vector<T>(array.begin(), array.end());
}
} // namespace

TEST(VXTArray, AddOnEmptyGrowsAndLayoutIsBufferCapacityThenSize)
{
    VXTArray<void*> array;
    static_assert(sizeof(array) == 16);
    EXPECT_EQ(array.QBase(), nullptr);
    EXPECT_EQ(array.Add(&array), 0u); // no block yet
    for (unsigned int i = 1; i < 1000; ++i)
        ASSERT_EQ(array.Add(reinterpret_cast<void*>(uintptr_t(i))), i);
    EXPECT_EQ(array[0], &array);
    EXPECT_EQ(array[999], reinterpret_cast<void*>(uintptr_t(999)));
    struct
    {
        void* pBuffer;
        unsigned int uiCapacity;
        unsigned int uiSize;
    } raw;
    std::memcpy(&raw, static_cast<void const*>(&array), sizeof(raw));
    EXPECT_EQ(raw.pBuffer, array.QBase());
    EXPECT_EQ(raw.uiCapacity, array.QCapacity());
    EXPECT_EQ(raw.uiSize, 1000u);
}

TEST(VXTArray, InsertRemoveAndFindKeepOrder)
{
    VXTArray<int> array;
    EXPECT_FALSE(array.Insert(1, 5)); // past the end
    for (auto [index, value] : {std::pair{0u, 2}, {0u, 0}, {1u, 1}, {3u, 3}, {4u, 4}})
        EXPECT_TRUE(array.Insert(index, value)); // the last two append, then grow past 4
    EXPECT_EQ(Items(array), (std::vector<int>{0, 1, 2, 3, 4}));
    array.RemoveAt(0);
    array.RemoveAt(2);
    array.RemoveAt(7); // ignored
    EXPECT_EQ(Items(array), (std::vector<int>{1, 2, 4}));
    EXPECT_EQ(array.Find(4), 2u);
    EXPECT_EQ(array.Find(9), VXTArrayBase::INVALID_INDEX);
}

TEST(VXTArray, SetSizeClearResetAndMove)
{
    VXTArray<std::string> array;
    ASSERT_TRUE(array.SetSize(3));
    array[1] = std::string(100, 'x'); // heap-owning element must be destroyed, not leaked
    ASSERT_TRUE(array.SetSize(1));
    EXPECT_EQ(array.Add("tail"), 1u);
    VXTArray<std::string> moved(std::move(array));
    EXPECT_EQ(array.QCapacity(), 0u);
    EXPECT_EQ(Items(moved), (std::vector<std::string>{"", "tail"}));
    unsigned int capacity = moved.QCapacity();
    moved.Clear();
    EXPECT_EQ(moved.QCapacity(), capacity);
    moved.Reset();
    EXPECT_EQ(moved.QBase(), nullptr);
    EXPECT_FALSE(moved.SetSize(VXTArrayBase::INVALID_INDEX));
}

TEST(VXTArrayBase, MoveItemsHandlesOverlap)
{
    int data[6] = {0, 1, 2, 3, 4, 5};
    VXTArrayBase::MoveItems(data, 1, 0, 4, sizeof(int));
    EXPECT_EQ(std::vector<int>(data, data + 6), (std::vector<int>{0, 0, 1, 2, 3, 5}));
    VXTArrayBase::MoveItems(data, 0, 2, 4, sizeof(int));
    EXPECT_EQ(std::vector<int>(data, data + 6), (std::vector<int>{1, 2, 3, 5, 3, 5}));
}
