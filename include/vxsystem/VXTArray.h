// Growable contiguous array. VXTArrayBase holds the element count and the untyped
// growth logic; the allocator base holds the block (pBuffer, uiCapacity) and comes first
// in memory. Elements are moved by byte copy when the block grows or a gap opens, so T
// must be relocatable that way (pointers, PODs and the library's handle types are).
// Not thread-safe: one owner at a time. Failure to grow is a returned value, never a throw.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <new>
#include <type_traits>
#include <utility>

// The block of a VXTArray, on the MemoryManager heap.
class VXTArrayHeapAllocator
{
public:
    VXTArrayHeapAllocator() : pBuffer(nullptr), uiCapacity(0) {}
    ~VXTArrayHeapAllocator() { Deallocate(); }
    VXTArrayHeapAllocator(VXTArrayHeapAllocator const&) = delete;
    VXTArrayHeapAllocator& operator=(VXTArrayHeapAllocator const&) = delete;

    // Replaces the block with a new one for count elements; the contents are lost.
    bool Allocate(unsigned int count, unsigned int elementSize);
    // Moves the first usedCount elements to a block for newCount elements. The middle pair
    // is unused (always 0). False, with the old block kept, when the heap has no room.
    bool Reallocate(unsigned int newCount, unsigned int usedCount, unsigned int, unsigned int,
                    unsigned int elementSize);
    void Deallocate();

    void* QBuffer() const { return pBuffer; }
    unsigned int QAllocCapacity() const { return uiCapacity; }

protected:
    void SwapBlock(VXTArrayHeapAllocator& other) noexcept
    {
        std::swap(pBuffer, other.pBuffer);
        std::swap(uiCapacity, other.uiCapacity);
    }

    void* pBuffer;           // the elements, null while uiCapacity is 0
    unsigned int uiCapacity; // elements the block holds
};

class VXTArrayBase
{
public:
    static constexpr unsigned int INVALID_INDEX = 0xFFFFFFFF;

    // How VXTArrayBase reaches the allocator of the array without knowing its type.
    class IAllocatorFunctor
    {
    public:
        virtual bool Allocate(unsigned int count, unsigned int elementSize) const = 0;
        virtual bool Reallocate(unsigned int newCount, unsigned int usedCount, unsigned int,
                                unsigned int, unsigned int elementSize) const = 0;
        virtual void Deallocate() const = 0;
        virtual ~IAllocatorFunctor() = default;
        // The block as it is now, after any growth.
        virtual void* QBuffer() const = 0;
    };

    VXTArrayBase() : uiSize(0) {}
    ~VXTArrayBase() { uiSize = 0; }

    // Adds one element at the end, growing when uiSize reached capacity. Gives its index,
    // or INVALID_INDEX when growing failed.
    unsigned int AddUninitialized(IAllocatorFunctor const& alloc, unsigned int capacity,
                                  unsigned int elementSize);
    // Opens a gap of one element at index (index == uiSize appends). data is the block as
    // it stands before the call; a grown block is taken from the functor.
    bool InsertUninitialized(IAllocatorFunctor const& alloc, void* data, unsigned int capacity,
                             unsigned int index, unsigned int elementSize);
    // First allocation, for count elements.
    bool InitialReserve(IAllocatorFunctor const& alloc, unsigned int count,
                        unsigned int elementSize);
    // Moves the live elements to a block for newCapacity elements (not below uiSize).
    bool SetAllocSize(IAllocatorFunctor const& alloc, unsigned int oldCapacity,
                      unsigned int newCapacity, unsigned int elementSize);
    // Moves count elements from index from to index to; the ranges may overlap.
    static void MoveItems(void* data, unsigned int to, unsigned int from, unsigned int count,
                          unsigned int elementSize);

protected:
    static unsigned int GrownCapacity(unsigned int capacity);

    unsigned int uiSize; // live elements
};

template <class Allocator> class VXTArrayAllocatorFunctor : public VXTArrayBase::IAllocatorFunctor
{
public:
    explicit VXTArrayAllocatorFunctor(Allocator* allocator) : pAllocator(allocator) {}

    bool Allocate(unsigned int count, unsigned int elementSize) const override
    {
        return pAllocator->Allocate(count, elementSize);
    }
    bool Reallocate(unsigned int newCount, unsigned int usedCount, unsigned int a, unsigned int b,
                    unsigned int elementSize) const override
    {
        return pAllocator->Reallocate(newCount, usedCount, a, b, elementSize);
    }
    void Deallocate() const override { pAllocator->Deallocate(); }
    void* QBuffer() const override { return pAllocator->QBuffer(); }

private:
    Allocator* pAllocator;
};

template <class T, class Allocator = VXTArrayHeapAllocator>
class VXTArray : public Allocator, public VXTArrayBase
{
public:
    VXTArray() = default;
    ~VXTArray() { DestroyRange(0, this->uiSize); }
    VXTArray(VXTArray const&) = delete;
    VXTArray& operator=(VXTArray const&) = delete;
    VXTArray(VXTArray&& other) noexcept { Swap(other); }
    VXTArray& operator=(VXTArray&& other) noexcept
    {
        if (this != &other)
        {
            Reset();
            Swap(other);
        }
        return *this;
    }

    // Appends a copy of value. Gives its index, or INVALID_INDEX when the heap had no room.
    unsigned int Add(T const& value)
    {
        unsigned int index = AddUninitialized(Functor(), this->uiCapacity, sizeof(T));
        if (index != INVALID_INDEX)
            ::new (static_cast<void*>(Data() + index)) T(value);
        return index;
    }

    // Inserts a copy of value before index (index == QSize() appends). False when index is
    // past the end or the heap had no room.
    bool Insert(unsigned int index, T const& value)
    {
        if (!InsertUninitialized(Functor(), this->pBuffer, this->uiCapacity, index, sizeof(T)))
            return false;
        ::new (static_cast<void*>(Data() + index)) T(value);
        return true;
    }

    // Removes the element at index, closing the gap and keeping the order.
    void RemoveAt(unsigned int index)
    {
        if (index >= this->uiSize)
            return;
        Data()[index].~T();
        MoveItems(this->pBuffer, index, index + 1, this->uiSize - index - 1, sizeof(T));
        --this->uiSize;
    }

    // Removes the element at index by moving the last one into its place.
    void RemoveAtFast(unsigned int index)
    {
        if (index >= this->uiSize)
            return;
        Data()[index].~T();
        --this->uiSize;
        if (index != this->uiSize)
            MoveItems(this->pBuffer, index, this->uiSize, 1, sizeof(T));
    }

    // Gives the index of the first element equal to value, or INVALID_INDEX.
    unsigned int Find(T const& value) const
    {
        for (unsigned int i = 0; i < this->uiSize; ++i)
            if (Data()[i] == value)
                return i;
        return INVALID_INDEX;
    }

    // Ensures room for count elements without changing the size.
    bool Reserve(unsigned int count)
    {
        if (count <= this->uiCapacity)
            return true;
        if (this->uiCapacity == 0)
            return InitialReserve(Functor(), count, sizeof(T));
        return SetAllocSize(Functor(), this->uiCapacity, count, sizeof(T));
    }

    // Makes the array hold count elements; new ones are value-initialised. False, with the
    // array unchanged, when the heap had no room.
    bool SetSize(unsigned int count)
    {
        if (count == INVALID_INDEX || !Reserve(count))
            return false;
        if (count < this->uiSize)
            DestroyRange(count, this->uiSize);
        for (unsigned int i = this->uiSize; i < count; ++i)
            ::new (static_cast<void*>(Data() + i)) T();
        this->uiSize = count;
        return true;
    }

    // Empties the array and keeps its block for reuse.
    void Clear()
    {
        DestroyRange(0, this->uiSize);
        this->uiSize = 0;
    }

    // Empties the array and frees its block.
    void Reset()
    {
        Clear();
        this->Deallocate();
    }

    T& operator[](unsigned int index) { return Data()[index]; }
    T const& operator[](unsigned int index) const { return Data()[index]; }
    unsigned int QSize() const { return this->uiSize; }
    unsigned int QCapacity() const { return this->uiCapacity; }
    bool QEmpty() const { return this->uiSize == 0; }
    T* QBase() { return Data(); }
    T const* QBase() const { return Data(); }

    T* begin() { return Data(); }
    T* end() { return Data() + this->uiSize; }
    T const* begin() const { return Data(); }
    T const* end() const { return Data() + this->uiSize; }

private:
    VXTArrayAllocatorFunctor<Allocator> Functor()
    {
        return VXTArrayAllocatorFunctor<Allocator>(static_cast<Allocator*>(this));
    }
    T* Data() { return static_cast<T*>(this->pBuffer); }
    T const* Data() const { return static_cast<T const*>(this->pBuffer); }

    void DestroyRange(unsigned int first, unsigned int last)
    {
        if constexpr (!std::is_trivially_destructible_v<T>)
            for (unsigned int i = first; i < last; ++i)
                Data()[i].~T();
    }

    void Swap(VXTArray& other) noexcept
    {
        this->SwapBlock(other);
        std::swap(this->uiSize, other.uiSize);
    }
};
