// Per-thread objects that must be torn down on their own thread when it ends. The POSIX
// half keeps the values in thread_local storage; the Windows half in fiber-local storage,
// because the mingw-w64 runtime runs thread_local destructors on the wrong objects.
// A slot serves one kind of object: make it once, then each thread sets its own value.
#pragma once

using VXThreadSlotCleanup = void (*)(void* value);
inline constexpr unsigned int VX_NO_THREAD_SLOT = ~0u;

// A new slot whose values are handed to cleanup, on their thread, when it ends (a null
// value is skipped). VX_NO_THREAD_SLOT when none is left.
unsigned int PlatformThreadSlotCreate(VXThreadSlotCleanup cleanup);
// The calling thread's value in slot; null until it sets one.
void* PlatformThreadSlotGet(unsigned int slot);
// False when slot is not a made slot or the value could not be stored.
bool PlatformThreadSlotSet(unsigned int slot, void* value);
