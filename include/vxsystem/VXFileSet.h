// VXFileSet: bundles loose files into one "VTAR" stream on any VXStorage, and unpacks a
// bundle under a folder, creating the sub-folders that the stored names call for. The
// stream has no index: a header, then each file's name, size and bytes, read in order.
//
// Contract:
// - Stateless free operations; safe on any thread for distinct storages and files.
// - At most 65535 files per stream. Content moves through one copy block of at most
//   10 MiB per file: memory stays flat however large the files are.
// - Writing: a file that cannot be opened gets an entry of size 0 and is no failure.
//   Names are stored as given.
// - Restoring never writes outside the target folder: a stream whose name is absolute,
//   names a drive, climbs with "..", names a device, holds characters that a file name
//   may not hold, or does not fit a 259-character path, and one whose size runs past the
//   stream, is refused with false. Files of size 0 are not created. A restore that fails
//   midway leaves the files written so far; restoring over a file overwrites it.
#pragma once

#include "vxsystem/VXFixedString.h"
#include "vxsystem/VXStorage.h"
#include "vxsystem/VXTArray.h"

namespace VXFileSet
{
using FileList = VXTArray<VXFixedString, VXTArrayHeapAllocator>;

// The bytes Write would produce for these files as they stand now.
uint64_t QSize(FileList const& files);
uint64_t QEntrySize(VXFixedString const& name);

// False, with nothing written, for more than 65535 files; else false at the first
// failure of out or of a file read.
bool Write(VXStorage& out, FileList const& files);
bool WriteEntry(VXStorage& out, VXFixedString const& name);

// pFolder null or empty means the working directory; a folder without a trailing
// separator gets a '/'. pNameLog, when given, receives every restored name as a short
// string.
bool Read(VXStorage& in, char const* pFolder, VXStorage* pNameLog);
// folder is the prefix as Read builds it: empty, or ending in a separator.
bool ReadEntry(VXStorage& in, VXFixedString const& folder, VXStorage* pNameLog);

// True when a stored name may be restored: relative, inside the target, a plain file name
// on every platform (both separators count).
bool QRestorableName(char const* name);
} // namespace VXFileSet
