// The two text lists a host's data brings: the load-order file, whose plug-in lines name
// archives, and the invalidation file, whose lines name directories and files that loose
// files override. Each reader takes any stream of the VXFile family, so the same code
// serves files on disk and memory in tests. Not thread-safe: start-up only.
#pragma once

#include "vxsystem/VXFile.h"
#include "vxsystem/VXHash.h"
#include "vxsystem/VXTArray.h"

// Appends ", name.vxa" to the comma-separated list in work (workSize bytes) for each
// line that names a plug-in (".qkp", else ".qkm", with regard to case) whose archive lies
// under "Data\". Lines are read up to 259 characters; empty lines and lines starting with
// '#' are skipped. What does not fit in work is dropped.
void VXAppendLoadOrder(VXFile& file, char* work, size_t workSize);

// Turns one load-order line into its archive name in place: false when the line names no
// plug-in.
bool VXLoadOrderLineToArchive(char* line);

// Reads invalidation lines (each ended by a carriage return and one more byte) and adds a
// key per line: lines with a backslash to dirs (their directory part), others to files.
// A list is created at its first use; keys are owned by the lists (MemoryManager).
void VXReadInvalidationLines(VXFile& file, VXTArray<VXHash*>*& dirs, VXTArray<VXHash*>*& files);

// Frees a list made by VXReadInvalidationLines, its keys included, and nulls it.
void VXFreeHashList(VXTArray<VXHash*>*& list);
