// MemoryPager: pages straight from MemoryManager; a handle is the page's address.
#include "vxsystem/VXMemoryPager.h"

namespace VXBTreeFile
{
bool MemoryPager::AcquireRoot(void*& page, uint64_t& handle, unsigned int& level)
{
    level = 1;
    return AllocatePage(page, handle);
}

bool MemoryPager::AllocatePage(void*& page, uint64_t& handle)
{
    page = MemoryManager::Instance().Allocate(uiPageSize, uiPageAlignment, true);
    handle = reinterpret_cast<uintptr_t>(page);
    ++uiActivePages;
    return page != nullptr;
}

void MemoryPager::DeallocatePage(void* page)
{
    MemoryManager::Instance().Deallocate(page, true);
    // Failed allocations counted too, so their null pages are given back here as well.
    if (uiActivePages)
        --uiActivePages;
}
} // namespace VXBTreeFile
