// The main job on a built-in example. It builds a small data folder in a temporary place
// (two archives made with the project's writer, a "Plugins.txt", an invalidation file,
// loose files that override members, a mod folder on the search path), starts the file
// view in the host's order, reads names through FileFinder::GetFile, and prints where
// each name was served from and why. Then it writes, reads back and seeks a loose file.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/vxsystem.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;

void Put(fs::path const& path, std::string const& text)
{
    fs::create_directories(path.parent_path());
    if (FILE* f = fopen(path.c_str(), "wb"))
    {
        fwrite(text.data(), 1, text.size(), f);
        fclose(f);
    }
}

void Pack(fs::path const& path, std::vector<std::pair<char const*, char const*>> const& members)
{
    fs::create_directories(path.parent_path());
    VXArchiveWriter writer;
    for (auto const& [name, text] : members)
        writer.AddFile(name, std::string(text));
    if (!writer.Write(path.string()))
        std::printf("could not write %s: %s\n", path.c_str(), writer.QError().c_str());
}

void MakeExample(fs::path const& root)
{
    Pack(root / "Data/Base.vxa", {{"meshes\\armor\\helmet.kof", "base helmet mesh"},
                                  {"meshes\\armor\\boots.kof", "base boots mesh"},
                                  {"textures\\armor\\helmet.dds", "base helmet texture"},
                                  {"textures\\sky\\clouds.dds", "base clouds"},
                                  {"sound\\fx\\hit.wav", "base hit sound"}});
    Pack(root / "Data/Knights.vxa", {{"meshes\\armor\\boots.kof", "knights boots mesh"},
                                     {"meshes\\knight\\lance.kof", "knights lance mesh"}});
    Put(root / "Plugins.txt", "# load order\r\nKnights.qkp\r\n");
    // Loose files under Data: one newer content author's file, one named by the list.
    Put(root / "Data/meshes/armor/helmet.kof", "loose helmet mesh, edited");
    Put(root / "Data/textures/sky/clouds.dds", "loose clouds");
    Put(root / "ArchiveInvalidation.txt", "textures\\sky\\\r\n");
    Put(root / "Mods/meshes/horse.kof", "horse mesh from the mod folder");
    Put(root / "readme.txt", "line one\nline two\n");
}

// Whether an archive holds a record of this name that invalidation dropped.
bool Overridden(char const* name)
{
    VXTArray<Archive*>* list = ArchiveManager::GetArchiveList();
    VXHash dir, file;
    VXHash::MakeDirAndFile(ArchiveManager::TrimFileName(name), dir, file);
    for (unsigned int a = 0; list && a < list->QSize(); ++a)
        for (uint64_t d = 0; VXDirectoryEntry* entry = (*list)[a]->GetDirectory(d); ++d)
            for (uint32_t f = 0; entry->kHash.Hash() == dir.Hash() && f < entry->uiEntryCount; ++f)
                if (entry->pEntries[f].kHash.Hash() == file.Hash() &&
                    entry->pEntries[f].QOffset() == 0)
                    return true;
    return false;
}

void Serve(char const* name)
{
    char where[MAX_PATH_BYTES];
    FileFinder::FILE_LOCATION location = FileFinder::Locate(name, where, 0, 0xFFFF);
    std::string why;
    if (location == FileFinder::FILE_IN_ARCHIVE)
        why = std::string("member of ") +
              ArchiveManager::GetArchiveForFile(name, ARCHIVE_TYPE_ALL)->GetFileName();
    else if (location == FileFinder::FILE_ON_DISK && Overridden(name))
        why = std::string("loose file overrides the archived member: ") + where;
    else if (location == FileFinder::FILE_ON_DISK && std::string(where) != name)
        why = std::string("loose file under a search path: ") + where;
    else if (location == FileFinder::FILE_ON_DISK)
        why = "loose file in the working directory";
    else
        why = "nothing serves it";
    std::unique_ptr<KoFile> file(FileFinder::GetFile(name, KoFile::MODE_READ, 4096));
    char text[64] = {};
    if (file)
        file->Read(text, sizeof(text) - 1);
    for (char& c : text)
        if (c == '\n')
            c = ' ';
    std::printf("  %-28s %s\n  %-28s \"%s\"\n", name, why.c_str(), "", text);
}

int Run(fs::path const& root)
{
    MakeExample(root);
    if (chdir(root.c_str()) != 0)
        return 1;
    // The host's order: settings, the finder with its search paths, then the archives.
    ArchiveManager::Init(true, "Data\\", "Base.vxa", 0x20000);
    ArchiveManager::SetInvalidation(true, "ArchiveInvalidation.txt");
    FileFinder finder(nullptr, 0, false);
    FileFinder::AddPath("Data");
    FileFinder::AddPath("Mods");
    bool opened = ArchiveManager::OpenMasterArchives();
    std::printf("Opened %u archives%s (list \"Base.vxa\", then Plugins.txt)\n",
                ArchiveManager::GetArchiveList() ? ArchiveManager::GetArchiveList()->QSize() : 0,
                opened ? "" : ", some failed");
    ArchiveManager::CleanupArchiveStringsAfterStartup();
    ArchiveManager::SetStartupFinished();

    std::printf("Serving names:\n");
    for (char const* name :
         {"Meshes\\Armor\\Boots.kof", "meshes\\knight\\lance.kof", "textures\\armor\\helmet.dds",
          "meshes\\armor\\helmet.kof", "textures\\sky\\clouds.dds", "meshes\\horse.kof",
          "README.TXT", "textures\\sky.tga", "meshes\\missing.kof"})
        Serve(name);

    {
        std::unique_ptr<VXFile> save(
            static_cast<VXFile*>(KoFile::GetFile("Save.dat", KoFile::MODE_WRITE, 256)));
        VXStringT<char> title("Quick save");
        *save << 0x56584156u << 3.5f << title;
        std::printf("Wrote Save.dat through KoFile::GetFile: %llu bytes\n",
                    static_cast<unsigned long long>(save->Tell()));
    }
    std::unique_ptr<VXFile> load(
        static_cast<VXFile*>(KoFile::GetFile("SAVE.DAT", KoFile::MODE_READ, 256)));
    unsigned int magic = 0;
    float version = 0;
    VXStringT<char> title;
    *load >> magic >> version >> title;
    load->Seek(4, KoFile::ms_iSeekSet);
    float again = 0;
    *load >> again;
    std::printf("Read SAVE.DAT back: magic %08X, version %.1f, title \"%s\"; after Seek(4) %.1f\n",
                magic, version, title.QString(), again);

    std::vector<std::unique_ptr<Archive>> archives;
    for (unsigned int a = 0;
         ArchiveManager::GetArchiveList() && a < ArchiveManager::GetArchiveList()->QSize(); ++a)
        archives.emplace_back((*ArchiveManager::GetArchiveList())[a]);
    ArchiveManager::CloseAll();
    ArchiveManager::Shutdown();
    return 0;
}
} // namespace

int main()
{
    char pattern[] = "/tmp/vxdemo-XXXXXX";
    if (!mkdtemp(pattern))
        return 1;
    fs::path root(pattern);
    std::printf("VXSystem demo in %s\n", pattern);
    int result = Run(root);
    if (chdir("/") == 0)
        fs::remove_all(root);
    return result;
}
