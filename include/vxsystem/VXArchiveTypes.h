// The kinds of content an archive holds: ARCHIVE_TYPE is a mask of them, as stored in an
// archive's header; ARCHIVE_TYPE_INDEX is the bit number of one kind.
#pragma once

#include <cstdint>

enum ARCHIVE_TYPE : uint32_t
{
    ARCHIVE_TYPE_MESHES = 0x001,
    ARCHIVE_TYPE_TEXTURES = 0x002,
    ARCHIVE_TYPE_MENUS = 0x004,
    ARCHIVE_TYPE_SOUNDS = 0x008,
    ARCHIVE_TYPE_VOICES = 0x010,
    ARCHIVE_TYPE_SHADERS = 0x020,
    ARCHIVE_TYPE_TREES = 0x040,
    ARCHIVE_TYPE_FONTS = 0x080,
    ARCHIVE_TYPE_MISC = 0x100,
    ARCHIVE_TYPE_ALL = 0xFFFF, // as an argument: derive the type from the extension
};

enum ARCHIVE_TYPE_INDEX : uint32_t
{
    ARCHIVE_INDEX_MESHES = 0,
    ARCHIVE_INDEX_TEXTURES = 1,
    ARCHIVE_INDEX_MENUS = 2,
    ARCHIVE_INDEX_SOUNDS = 3,
    ARCHIVE_INDEX_VOICES = 4,
    ARCHIVE_INDEX_SHADERS = 5,
    ARCHIVE_INDEX_TREES = 6,
    ARCHIVE_INDEX_FONTS = 7,
    ARCHIVE_INDEX_MISC = 8,
    ARCHIVE_INDEX_COUNT = 9, // number of kinds
};
