// Singleton with no heap use: the object is built in a static buffer of the class. Two
// static pointers hold the instance; a derived constructor may store itself in both with
// SetInstance. Create and destroy it on one thread before others look at it.
#pragma once

#include <new>

// Policy: the instance lives in the static buffer given by QBuffer.
struct VXTSingletonSDMOpStaticBuffer
{
};

template <class T, class Op = VXTSingletonSDMOpStaticBuffer> class VXTSingletonSDM
{
public:
    // Builds the object in the buffer unless it exists; gives it.
    static T* InitSDM()
    {
        if (!spInstance)
            SetInstance(::new (QBuffer()) T());
        return spInstance;
    }
    static T* Create() { return InitSDM(); }

    static T* QInstance() { return spInstance; }
    static bool QInitialized() { return spInstance != nullptr; }

    // Runs the destructor and clears both pointers.
    static void KillSDM()
    {
        T* instance = spInstance;
        if (!instance)
            return;
        instance->~T();
        SetInstance(nullptr);
    }
    static void Destroy() { KillSDM(); }

    static void* QBuffer()
    {
        alignas(T) static unsigned char acBuffer[sizeof(T)];
        return acBuffer;
    }

protected:
    static void SetInstance(T* instance)
    {
        spInstance = instance;
        spSDMInstance = instance;
    }

private:
    static inline T* spInstance = nullptr;
    static inline T* spSDMInstance = nullptr;
};
