// Growable text with a 16-bit stored length and capacity, for char and VXWChar.
// VXStringT keeps its text on the MemoryManager heap; VXStaticStringT<N> keeps it in
// an inline array and cuts longer text at N - 1 characters (the path type is N = 260).
// Not thread-safe: one owner at a time.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace vxstr
{
template <class CharT> size_t Length(CharT const* text)
{
    size_t n = 0;
    if (text)
        while (text[n])
            ++n;
    return n;
}

template <class CharT> inline CharT const kEmpty[1] = {0};
} // namespace vxstr

template <class CharT> class VXStringT : public VXHeapObject
{
public:
    static constexpr uint16_t LENGTH_MEASURED = 0xFFFF; // stored length meaning "measure it"

    VXStringT() : pString(nullptr), usLength(0), usCapacity(0) {}
    explicit VXStringT(CharT const* text) : VXStringT() { Set(text); }
    VXStringT(VXStringT const& other) : VXStringT() { Set(other.pString); }
    VXStringT(VXStringT&& other) noexcept
        : pString(other.pString), usLength(other.usLength), usCapacity(other.usCapacity)
    {
        other.pString = nullptr;
        other.usLength = other.usCapacity = 0;
    }
    ~VXStringT() { MemoryManager::Instance().Deallocate(pString); }

    VXStringT& operator=(VXStringT const& other)
    {
        if (this != &other)
            Set(other.pString);
        return *this;
    }
    VXStringT& operator=(VXStringT&& other) noexcept
    {
        if (this != &other)
        {
            MemoryManager::Instance().Deallocate(pString);
            pString = other.pString;
            usLength = other.usLength;
            usCapacity = other.usCapacity;
            other.pString = nullptr;
            other.usLength = other.usCapacity = 0;
        }
        return *this;
    }
    VXStringT& operator=(CharT const* text)
    {
        Set(text);
        return *this;
    }

    // Sets the text, at most maxLength characters (0 = all). False when the result is
    // empty, including when the heap had no room for it.
    bool Set(CharT const* text, size_t maxLength = 0)
    {
        size_t length = vxstr::Length(text);
        size_t needed = maxLength ? maxLength + 1 : length + 1;
        CharT* old = nullptr;
        if (needed > usCapacity)
        {
            size_t capacity = needed > 0xFFFF ? 0xFFFF : needed;
            // Capacity caps at 65535, but the block itself holds the whole text.
            auto* block =
                static_cast<CharT*>(MemoryManager::Instance().Allocate(needed * sizeof(CharT)));
            if (!block)
                return false;
            old = pString; // freed only after the copy: the text may live in it
            pString = block;
            usCapacity = static_cast<uint16_t>(capacity);
        }
        if (needed <= length)
            length = needed - 1;
        if (!text)
            length = 0;
        if (pString)
        {
            for (size_t i = 0; i < length; ++i)
                pString[i] = text[i];
            pString[length] = 0;
        }
        usLength = static_cast<uint16_t>(length > 0xFFFF ? 0xFFFF : length);
        MemoryManager::Instance().Deallocate(old);
        return length != 0;
    }

    // Appends text behind the current text.
    bool Append(CharT const* text)
    {
        size_t own = QLength();
        size_t add = vxstr::Length(text);
        if (add == 0)
            return own != 0;
        auto* block = static_cast<CharT*>(
            MemoryManager::Instance().Allocate((own + add + 1) * sizeof(CharT)));
        if (!block)
            return false;
        for (size_t i = 0; i < own; ++i)
            block[i] = pString[i];
        for (size_t i = 0; i < add; ++i)
            block[own + i] = text[i];
        block[own + add] = 0;
        MemoryManager::Instance().Deallocate(pString);
        pString = block;
        size_t length = own + add;
        usLength = static_cast<uint16_t>(length > 0xFFFF ? 0xFFFF : length);
        usCapacity = static_cast<uint16_t>(length + 1 > 0xFFFF ? 0xFFFF : length + 1);
        return true;
    }

    // Stored length, measured when it reads 65535.
    size_t QLength() const
    {
        return usLength == LENGTH_MEASURED ? vxstr::Length(pString) : usLength;
    }
    // The text; a string without storage reads as the shared empty text.
    CharT const* QString() const { return pString ? pString : vxstr::kEmpty<CharT>; }
    uint16_t QStoredLength() const { return usLength; }
    uint16_t QCapacity() const { return usCapacity; }
    bool QHasStorage() const { return pString != nullptr; }

    // printf-style formatting into a 4096-character block, then Set.
    bool Format(char const* format, ...) requires(sizeof(CharT) == 1)
    {
        char block[4096];
        va_list args;
        va_start(args, format);
        int n = vsnprintf(block, sizeof(block), format, args);
        va_end(args);
        if (n < 0)
            return false;
        return Set(block);
    }

private:
    CharT* pString;      // the text, or null
    uint16_t usLength;   // length in characters; 65535 = measure
    uint16_t usCapacity; // characters the block holds, terminator included; capped at 65535
};

template <unsigned int N> class VXStaticStringT
{
public:
    VXStaticStringT() : pString(nullptr), usLength(0), usCapacity(N) { acBuffer[0] = 0; }
    explicit VXStaticStringT(char const* text) : VXStaticStringT() { Set(text); }
    VXStaticStringT(VXStaticStringT const& other) : VXStaticStringT() { Set(other.QString()); }
    VXStaticStringT& operator=(VXStaticStringT const& other)
    {
        if (this != &other)
            Set(other.QString());
        return *this;
    }

    // Sets the text, cut at N - 1 characters; an overlapping source is handled.
    bool Set(char const* text, size_t maxLength = 0)
    {
        size_t length = vxstr::Length(text);
        size_t needed = maxLength ? maxLength + 1 : length + 1;
        if (needed > N)
            needed = N;
        if (needed <= length)
            length = needed - 1;
        char copy[N];
        for (size_t i = 0; i < length; ++i)
            copy[i] = text[i];
        for (size_t i = 0; i < length; ++i)
            acBuffer[i] = copy[i];
        acBuffer[length] = 0;
        pString = acBuffer;
        usLength = static_cast<uint16_t>(length);
        return length != 0;
    }
    bool Append(char const* text)
    {
        char joined[N];
        size_t own = usLength;
        size_t add = vxstr::Length(text);
        size_t i = 0;
        for (; i < own && i < N - 1; ++i)
            joined[i] = acBuffer[i];
        for (size_t j = 0; j < add && i < N - 1; ++j, ++i)
            joined[i] = text[j];
        joined[i] = 0;
        return Set(joined);
    }
    bool Format(char const* format, ...)
    {
        char block[4096];
        va_list args;
        va_start(args, format);
        int n = vsnprintf(block, sizeof(block), format, args);
        va_end(args);
        return n >= 0 && Set(block);
    }
    size_t QLength() const { return usLength; }
    char const* QString() const { return acBuffer; }
    char* QBuffer() { return acBuffer; }

private:
    char acBuffer[N];    // the text
    char* pString;       // points at acBuffer once set, else null
    uint16_t usLength;   // length in characters
    uint16_t usCapacity; // N
};
