// Fixed-size array of trivial elements (pointers) in a malloc block, sized once or resized
// without keeping its contents. operator[] does no bounds test. Not thread-safe.
#pragma once

#include "vxsystem/VXTypes.h"

#include <cstdlib>
#include <cstring>
#include <type_traits>

template <class T> class VXStaticArray
{
    static_assert(std::is_trivial_v<T>, "elements are neither constructed nor destroyed");

public:
    VXStaticArray() : pBase(nullptr), uiSize(0) {}
    explicit VXStaticArray(unsigned int size) : VXStaticArray() { SetSize(size); }
    ~VXStaticArray() { std::free(pBase); }
    VXStaticArray(VXStaticArray const&) = delete;
    VXStaticArray& operator=(VXStaticArray const&) = delete;

    // The same size does nothing. Another frees the block and allocates a new one of
    // size elements, all zero bytes; the old elements are not kept. False, with the array
    // empty, when malloc failed.
    bool SetSize(unsigned int size)
    {
        if (size == uiSize)
            return true;
        std::free(pBase);
        pBase = nullptr;
        uiSize = size;
        if (size == 0)
            return true;
        pBase = static_cast<T*>(std::malloc(static_cast<size_t>(size) * sizeof(T)));
        if (!pBase)
        {
            uiSize = 0;
            return false;
        }
        std::memset(static_cast<void*>(pBase), 0, static_cast<size_t>(size) * sizeof(T));
        return true;
    }

    T& operator[](unsigned int index) { return pBase[index]; }
    T const& operator[](unsigned int index) const { return pBase[index]; }
    T* QBase() { return pBase; }
    T const* QBase() const { return pBase; }
    unsigned int QNumElements() const { return uiSize; }

private:
    T* pBase;
    unsigned int uiSize;
};
