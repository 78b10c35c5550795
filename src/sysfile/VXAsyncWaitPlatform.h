// The platform half of the asynchronous functor's waits: the alertable sleep in which
// completions run, and the identity that tells the issuing thread from the others.
#pragma once

// Sleeps up to milliseconds (0xFFFFFFFF: no limit), running the calling thread's
// completions; true, early, when at least one ran.
bool PlatformAlertableSleep(unsigned int milliseconds);
// The number stored as the issuing thread of a transfer; never 0.
unsigned int PlatformAsyncThreadId();
