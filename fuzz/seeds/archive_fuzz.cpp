// Writes small archives of every layout into the folder named by the argument: the seed
// corpus of archive_fuzz.
#include "vxawriter/VXArchiveWriter.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 1;
    }
    using Header = VXArchiveHeader;
    uint32_t const names = Header::AF_DIRECTORY_STRINGS | Header::AF_FILE_STRINGS;
    uint32_t const layouts[] = {names | Header::AF_COMPRESSED,
                                names,
                                names | Header::AF_EMBEDDED_FILE_NAMES,
                                Header::AF_COMPRESSED | Header::AF_EMBEDDED_FILE_NAMES,
                                0,
                                names | Header::AF_RETAIN_STRINGS_DURING_STARTUP |
                                    Header::AF_RETAIN_FILE_NAME_OFFSETS};
    int written = 0;
    for (uint32_t flags : layouts)
        for (uint32_t version : {104u, 103u})
        {
            VXArchiveWriterOptions options;
            options.uiFlags = flags;
            options.uiVersion = version;
            VXArchiveWriter writer(options);
            writer.AddFile("meshes\\armor\\helmet.kof", std::string(300, 'h'));
            writer.AddFile("meshes\\armor\\boots.kof", std::string("boots\0tail", 10),
                           VXArchiveWriter::MC_STORED);
            writer.AddFile("textures\\sky.dds", std::string(700, 's'),
                           VXArchiveWriter::MC_COMPRESSED);
            writer.AddFile("readme.txt", std::string("read me"));
            writer.AddFile("empty.bin", std::string());
            std::string path = std::string(argv[1]) + "/seed_" + std::to_string(written++) + ".vxa";
            if (!writer.Write(path))
            {
                std::fprintf(stderr, "%s: %s\n", path.c_str(), writer.QError().c_str());
                return 1;
            }
        }
    return 0;
}
