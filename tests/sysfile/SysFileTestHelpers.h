// Shared by the system file tests: page-aligned blocks for unbuffered transfers, whole-file
// opens in one line, and a functor that records its completion.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXSystemFile.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include <cstring>
#include <memory>
#include <string>
#include <thread>

namespace sysfiletest
{
using VF = VXSystemFile;
constexpr size_t kBlock = 4096;

using Block = std::unique_ptr<char, void (*)(void*)>;

// size is a multiple of kBlock.
inline Block AlignedBlock(size_t size, char fill = 0)
{
    // Through the library's heap: the C runtimes disagree on aligned allocation.
    Block block(static_cast<char*>(MemoryManager::Instance().Allocate(size, kBlock, true)),
                [](void* p) { MemoryManager::Instance().Deallocate(p, true); });
    std::memset(block.get(), fill, size);
    return block;
}

inline VF Open(std::string const& path, VF::AccessMode access, VF::OpenMode open,
               bool async = false)
{
    return VF(path.c_str(), access, open, async, 0, false);
}

// Records what the completion told it, and on which thread.
class Recorder : public VXSystemFileAsyncFunctor
{
public:
    int iCalls = 0;
    VF::ErrorCode eCode = VF::EC_INVALID;
    uint64_t uiBytes = 0;
    std::thread::id kThread;

private:
    void operator()(VF::ErrorCode code, uint64_t bytes) override
    {
        ++iCalls;
        eCode = code;
        uiBytes = bytes;
        kThread = std::this_thread::get_id();
    }
};
} // namespace sysfiletest
