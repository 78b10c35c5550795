// Windows half of the processor seam: the processor records of
// GetLogicalProcessorInformationEx, read into a buffer that grows while it is too small.
#include "platform/VXPlatformProcessors.h"

#include <windows.h>

namespace
{
unsigned int CountBits(KAFFINITY uiMask)
{
    unsigned int uiBits = 0;
    for (; uiMask; uiMask &= uiMask - 1)
        ++uiBits;
    return uiBits;
}

using QueryFn = BOOL(WINAPI*)(LOGICAL_PROCESSOR_RELATIONSHIP,
                              PSYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX, PDWORD);

QueryFn FindQuery()
{
    HMODULE hKernel = GetModuleHandleA("kernel32");
    if (!hKernel)
        return nullptr;
    return reinterpret_cast<QueryFn>(
        reinterpret_cast<void*>(GetProcAddress(hKernel, "GetLogicalProcessorInformationEx")));
}
} // namespace

unsigned int PlatformLogicalProcessors(unsigned int& uiCores, unsigned int& uiPackages)
{
    uiCores = 0;
    uiPackages = 0;
    QueryFn pQuery = FindQuery();
    if (!pQuery)
        return 0;
    DWORD uiBytes = 0;
    void* pBuffer = nullptr;
    while (!pQuery(RelationAll, static_cast<PSYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX>(pBuffer),
                   &uiBytes))
    {
        VXProcessorsFree(pBuffer);
        pBuffer = nullptr;
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || uiBytes == 0)
            return 0;
        pBuffer = VXProcessorsAllocate(uiBytes);
        if (!pBuffer)
            return 0;
    }
    unsigned int uiLogical = 0;
    for (DWORD uiAt = 0; pBuffer && uiAt < uiBytes;)
    {
        auto* pRecord = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(
            static_cast<char*>(pBuffer) + uiAt);
        if (pRecord->Size == 0 || pRecord->Size > uiBytes - uiAt)
            break;
        if (pRecord->Relationship == RelationProcessorCore)
        {
            ++uiCores;
            for (WORD i = 0; i < pRecord->Processor.GroupCount; ++i)
                uiLogical += CountBits(pRecord->Processor.GroupMask[i].Mask);
        }
        else if (pRecord->Relationship == RelationProcessorPackage)
        {
            ++uiPackages;
        }
        uiAt += pRecord->Size;
    }
    VXProcessorsFree(pBuffer);
    return uiLogical;
}
