// The main job on a built-in example: builds a small data folder in a temporary place,
// starts the file view as a host does, and opens, reads, writes and seeks files by name,
// printing each step.
#include "vxsystem/vxsystem.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace
{
void Put(std::filesystem::path const& path, std::string const& text)
{
    std::filesystem::create_directories(path.parent_path());
    FILE* f = fopen(path.c_str(), "wb");
    if (!f)
        return;
    fwrite(text.data(), 1, text.size(), f);
    fclose(f);
}

char const* LocationName(FileFinder::FILE_LOCATION location)
{
    switch (location)
    {
    case FileFinder::FILE_ON_DISK:
        return "on disk";
    case FileFinder::FILE_IN_ARCHIVE:
        return "in an archive";
    default:
        return "not found";
    }
}

void Show(char const* name)
{
    char where[MAX_PATH_BYTES];
    FileFinder::FILE_LOCATION location = FileFinder::Locate(name, where, 0, 0xFFFF);
    std::printf("  %-28s %-10s %s\n", name, LocationName(location), where);
}

int Run(std::filesystem::path const& root)
{
    Put(root / "Data/meshes/armor/a.kof", "KOF1 armor mesh");
    Put(root / "Data/textures/armor/a.dds", "DDS texture bytes");
    Put(root / "Mods/meshes/shield.kof", "KOF1 shield from a mod folder");
    Put(root / "Data/readme.txt", "line one\nline two\nline three\n");
    if (chdir((root / "Data").c_str()) != 0)
        return 1;

    FileFinder finder(nullptr, 0, false);
    FileFinder::AddPath((root / "Mods").c_str());
    std::printf("Search paths: %u (%s)\n", FileFinder::GetNumPaths(), FileFinder::GetPath(0));

    std::printf("Where names are served from:\n");
    for (char const* name : {"Meshes\\Armor\\A.kof", "meshes\\shield.kof", "textures\\armor\\A.DDS",
                             "textures\\sky.tga", "meshes\\missing.kof"})
        Show(name);

    std::unique_ptr<KoFile> mesh(
        FileFinder::GetFile("Meshes\\Armor\\A.kof", KoFile::MODE_READ, 4096));
    char text[64] = {};
    uint64_t got = mesh ? mesh->Read(text, sizeof(text) - 1) : 0;
    std::printf("Read %llu bytes of Meshes\\Armor\\A.kof: \"%s\"\n",
                static_cast<unsigned long long>(got), text);

    {
        std::unique_ptr<VXFile> save(
            static_cast<VXFile*>(KoFile::GetFile("Save.dat", KoFile::MODE_WRITE, 256)));
        if (save && save->FileIsGood())
        {
            VXStringT<char> title("Quick save");
            *save << 0x56584156u << 3.5f << title;
            std::printf("Wrote save.dat: %llu bytes through KoFile::GetFile\n",
                        static_cast<unsigned long long>(save->Tell()));
        }
    }
    std::unique_ptr<VXFile> load(
        static_cast<VXFile*>(KoFile::GetFile("SAVE.DAT", KoFile::MODE_READ, 256)));
    if (load)
    {
        unsigned int magic = 0;
        float version = 0;
        VXStringT<char> title;
        *load >> magic >> version >> title;
        std::printf("Read it back: magic %08X, version %.1f, title \"%s\"\n", magic, version,
                    title.QString());
        load->Seek(4, KoFile::ms_iSeekSet);
        *load >> version;
        std::printf("Seek to 4 and read again: version %.1f, position %llu\n", version,
                    static_cast<unsigned long long>(load->Tell()));
    }

    std::unique_ptr<VXFile> readme(
        static_cast<VXFile*>(FileFinder::GetFile("README.TXT", KoFile::MODE_READ, 64)));
    char line[64];
    while (readme && readme->GetLine(line, sizeof(line), '\n'))
        std::printf("Line of readme.txt: %s\n", line);
    return 0;
}
} // namespace

int main()
{
    char pattern[] = "/tmp/vxdemo-XXXXXX";
    if (!mkdtemp(pattern))
        return 1;
    std::filesystem::path root(pattern);
    std::printf("VXSystem demo in %s\n", pattern);
    int result = Run(root);
    if (chdir("/") == 0)
        std::filesystem::remove_all(root);
    return result;
}
