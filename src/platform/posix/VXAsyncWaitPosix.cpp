// POSIX half of the functor's waits: the completion queue stands in for the system's
// alertable waits.
#include "sysfile/VXAsyncWaitPlatform.h"
#include "sysfile/VXCompletionQueue.h"

bool PlatformAlertableSleep(unsigned int milliseconds)
{
    return VXCompletionQueue::AlertableSleep(milliseconds);
}

unsigned int PlatformAsyncThreadId()
{
    return VXCompletionQueue::CurrentThreadId();
}
