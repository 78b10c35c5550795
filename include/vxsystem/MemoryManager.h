// The process heap service. Every allocation of the library goes through it, new and
// delete included (classes derive from VXHeapObject), so a host can account for it.
// Thread-safe. Failure is a null result, never an exception.
#pragma once

#include "vxsystem/VXTypes.h"

class ScrapHeap;

class MemoryManager
{
public:
    // Short-lived block out of this thread's scrap heap, freed at scope end on this thread.
    class AutoScrapBuffer
    {
    public:
        AutoScrapBuffer(size_t size, unsigned int alignment);
        ~AutoScrapBuffer();
        AutoScrapBuffer(AutoScrapBuffer const&) = delete;
        AutoScrapBuffer& operator=(AutoScrapBuffer const&) = delete;
        void* QPtr() const { return pData; }

    private:
        void* pData; // the block, or null when the scrap heap had no room
    };

    static MemoryManager& Instance();

    void* Allocate(size_t size);
    void Deallocate(void* p);

    // The calling thread's scrap heap, created on first use and torn down with the thread;
    // null when it could not be made.
    ScrapHeap* GetThreadScrapHeap();

    // Live blocks handed out by Allocate and not yet returned; for leak checks.
    static int64_t QLiveBlocks();

    // Alignment 0 means the default. The flag must match between the two calls.
    void* Allocate(size_t size, unsigned int alignment, bool aligned);
    void Deallocate(void* p, bool aligned);

private:
    MemoryManager() = default;
};

// Base for every heap-allocated class of the library: routes new and delete through
// MemoryManager. The allocation functions are noexcept, so a failed new yields null.
struct VXHeapObject
{
    static void* operator new(size_t size) noexcept;
    static void* operator new[](size_t size) noexcept;
    static void operator delete(void* p) noexcept;
    static void operator delete[](void* p) noexcept;
    static void* operator new(size_t, void* where) noexcept { return where; }
    static void operator delete(void*, void*) noexcept {}
};
