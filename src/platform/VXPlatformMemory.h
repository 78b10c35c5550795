// The virtual-memory seam: an address range reserved without backing, committed piece by
// piece, decommitted as a whole and finally released. Sizes and addresses are multiples
// of 64 KiB. Thread-safe as the platform is; callers keep their pieces apart.
#pragma once

#include <cstddef>

// Null when the range could not be reserved.
void* PlatformReserveRange(size_t size);
// Makes [address, address + size) readable and writable, zero-filled on first touch.
bool PlatformCommitRange(void* address, size_t size);
// Gives the memory back; the addresses stay reserved and become inaccessible.
void PlatformDecommitRange(void* address, size_t size);
void PlatformReleaseRange(void* address, size_t size);
