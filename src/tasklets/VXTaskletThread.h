// One thread of the tasklet manager: runs a static procedure of the manager. Owned and
// closed by the manager.
#pragma once

#include "vxsystem/VXThread.h"

class VXWin32TaskletManager;

class VXTaskletThread : public VXThread
{
public:
    using Procedure = void (*)(VXWin32TaskletManager* pManager);

    VXTaskletThread(Procedure pEntry, VXWin32TaskletManager* pOwner)
        : pProcedure(pEntry), pManager(pOwner)
    {
    }
    ~VXTaskletThread() override { Close(); }

protected:
    unsigned int ThreadProc() override
    {
        pProcedure(pManager);
        return 0;
    }

private:
    Procedure pProcedure;
    VXWin32TaskletManager* pManager;
};
