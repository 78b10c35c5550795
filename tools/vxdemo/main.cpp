// The main job on a built-in example. It lays out a game's source folders in a temporary
// place, packs them into archives with the vxa command, adds what a player's install
// holds ("Plugins.txt", an invalidation file, loose files that override members, a mod
// folder), asks vxa where names are served from, then starts the file view in the host's
// order and reads, writes and seeks files through it.
#include "VxaTool.h"
#include "vxsystem/vxsystem.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;

void Put(fs::path const& path, std::string const& text)
{
    if (path.has_parent_path())
        fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// One vxa command line, echoed as a user would type it.
int Vxa(std::vector<char const*> args)
{
    std::printf("\n$ vxa");
    for (char const* arg : args)
        std::printf(" %s", arg);
    std::printf("\n");
    std::fflush(stdout);
    args.insert(args.begin(), "vxa");
    int result = VxaMain(static_cast<int>(args.size()), args.data());
    std::fflush(stdout);
    return result;
}

void MakeExample()
{
    Put("Source/Base/meshes/armor/helmet.kof", "base helmet mesh");
    Put("Source/Base/meshes/armor/boots.kof", "base boots mesh");
    Put("Source/Base/textures/armor/helmet.dds", std::string(20000, 'h'));
    Put("Source/Base/textures/sky/clouds.dds", "base clouds");
    Put("Source/Base/sound/fx/hit.wav", "base hit sound");
    Put("Source/Knights/meshes/armor/boots.kof", "knights boots mesh");
    Put("Source/Knights/meshes/knight/lance.kof", "knights lance mesh");
    Put("Plugins.txt", "# load order\r\nKnights.qkp\r\n");
    // What a player's install adds: a newer loose file, one named by the invalidation list.
    Put("Data/meshes/armor/helmet.kof", "loose helmet mesh, edited");
    Put("Data/textures/sky/clouds.dds", "loose clouds");
    Put("ArchiveInvalidation.txt", "textures\\sky\\\r\n");
    Put("Mods/meshes/horse.kof", "horse mesh from the mod folder");
    Put("readme.txt", "line one\nline two\n");
}

void Serve(char const* name)
{
    std::unique_ptr<KoFile> file(FileFinder::GetFile(name, KoFile::MODE_READ, 4096));
    char text[40] = {};
    if (file)
        file->Read(text, sizeof(text) - 1);
    for (char& c : text)
        c = c == '\n' ? ' ' : c;
    std::printf("  %-28s %s\n", name, file ? (std::string("\"") + text + "\"").c_str() : "-");
}

void SaveAndLoad()
{
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
    float version = 0, again = 0;
    VXStringT<char> title;
    *load >> magic >> version >> title;
    load->Seek(4, KoFile::ms_iSeekSet);
    *load >> again;
    std::printf("Read SAVE.DAT back: magic %08X, version %.1f, title \"%s\"; after Seek(4) %.1f\n",
                magic, version, title.QString(), again);
}

// One name read and checksummed on a job thread.
struct ReadJob
{
    char const* pName;
    uint64_t uiBytes;
    unsigned int uiCrc;
};

void ReadAndChecksum(void* param)
{
    auto* job = static_cast<ReadJob*>(param);
    std::unique_ptr<KoFile> file(FileFinder::GetFile(job->pName, KoFile::MODE_READ, 0x10000));
    char block[4096];
    while (uint64_t got = file ? file->Read(block, sizeof(block)) : 0)
    {
        VXCRC32::GenerateCRC(job->uiCrc, block, got);
        job->uiBytes += got;
    }
}

// Names read in parallel by a job list on two job threads; the sync point orders the
// summing job behind all the reads.
void ReadWithJobList()
{
    static ReadJob jobs[] = {{"meshes\\armor\\boots.kof", 0, 0},
                             {"meshes\\knight\\lance.kof", 0, 0},
                             {"textures\\armor\\helmet.dds", 0, 0},
                             {"sound\\fx\\hit.wav", 0, 0},
                             {"meshes\\horse.kof", 0, 0}};
    static uint64_t total = 0;
    VXJobs::StartJobThreads(nullptr, 0, 2);
    {
        VXJobs::JobList list(VXFixedString("DemoReads"), 0, 2, 8, 1, false, nullptr, false);
        for (ReadJob& job : jobs)
            list.AddJob(ReadAndChecksum, &job, "ReadAndChecksum");
        list.InsertSyncPoint(VXJobs::SYNC_SIGNAL);
        list.InsertSyncPoint(VXJobs::SYNC_WAIT);
        list.AddJob(
            [](void*)
            {
                for (ReadJob const& job : jobs)
                    total += job.uiBytes;
            },
            nullptr);
        list.Submit();
        list.Wait();
        std::printf("\nA job list on %u job threads read %u names, %llu bytes, in %llu us:\n",
                    VXJobs::GetNumJobThreads(), list.GetNumExecutedJobs() - 1,
                    static_cast<unsigned long long>(total),
                    static_cast<unsigned long long>(list.GetFinishTimeMicroSec() -
                                                    list.GetStartTimeMicroSec()));
        for (ReadJob const& job : jobs)
            std::printf("  %-28s %6llu bytes, crc %08X\n", job.pName,
                        static_cast<unsigned long long>(job.uiBytes), job.uiCrc);
    }
    VXJobs::StopJobThreads();
}

// The host's order: settings, the finder with its search paths, then the archives.
void RunHost()
{
    std::printf("\nThe file view, started as a host starts it:\n");
    ArchiveManager::Init(true, "Data\\", "Base.vxa", 0x20000);
    ArchiveManager::SetInvalidation(true, "ArchiveInvalidation.txt");
    {
        FileFinder finder(nullptr, 0, false);
        FileFinder::AddPath("Data");
        FileFinder::AddPath("Mods");
        ArchiveManager::OpenMasterArchives();
        ArchiveManager::CleanupArchiveStringsAfterStartup();
        ArchiveManager::SetStartupFinished();
        for (char const* name :
             {"Meshes\\Armor\\Boots.kof", "meshes\\knight\\lance.kof", "meshes\\armor\\helmet.kof",
              "textures\\sky\\clouds.dds", "meshes\\horse.kof", "README.TXT", "meshes\\no.kof"})
            Serve(name);
        SaveAndLoad();
        ReadWithJobList();
        std::vector<std::unique_ptr<Archive>> archives;
        for (Archive* archive : *ArchiveManager::GetArchiveList())
            archives.emplace_back(archive);
        ArchiveManager::CloseAll();
    }
    ArchiveManager::Shutdown();
}

// The streaming service: the archive read twice through its block cache; the second pass
// is served from memory on the calling thread.
void StreamArchive()
{
    std::printf("\nThe streaming read service over Data\\Base.vxa:\n");
    VXSystemFileStreamer::Enable(true);
    {
        VXSystemFile file("Data\\Base.vxa", VXSystemFile::AM_READ, VXSystemFile::OM_EXISTING, false,
                          0, false);
        uint64_t size = 0;
        file.GetSize(size);
        VXSystemFileStreamer::ID id;
        VXSystemFileStreamer::GetIDForPath(id, "Data\\Base.vxa");
        std::vector<char> bytes(size);
        for (int pass = 1; pass <= 2; ++pass)
        {
            uint64_t read = 0;
            VXSystemFile::ErrorCode code = VXSystemFileStreamer::ReadAt(
                &file, id, bytes.data(), size, 0, read, 0, true, nullptr);
            uint64_t served = 0, physical = 0, fastHits = 0, fastMisses = 0;
            VXSystemFileStreamer::QueryHitMissStats(served, physical, fastHits, fastMisses);
            std::printf("  pass %d: %llu of %llu bytes, code %d; block reads so far %llu, "
                        "blocks found in the cache %llu\n",
                        pass, static_cast<unsigned long long>(read),
                        static_cast<unsigned long long>(size), static_cast<int>(code),
                        static_cast<unsigned long long>(physical),
                        static_cast<unsigned long long>(fastHits));
        }
    }
    VXSystemFileStreamer::Enable(false);
}

int Run()
{
    MakeExample();
    int failed = Vxa({"pack", "Source/Base", "Data/Base.vxa"});
    failed |= Vxa({"pack", "Source/Knights", "Data/Knights.vxa", "--no-compress"});
    failed |= Vxa({"list", "Data/Base.vxa"});
    failed |= Vxa({"verify", "Data/Knights.vxa"});
    for (char const* name : {"meshes\\armor\\boots.kof", "meshes\\armor\\helmet.kof",
                             "textures\\sky\\clouds.dds", "sound\\fx\\hit.wav"})
        failed |= Vxa({"which", "Data", name});
    failed |= Vxa({"cat", "Data", "MESHES\\ARMOR\\BOOTS.KOF"});
    std::printf("\n");
    RunHost();
    StreamArchive();
    return failed ? 1 : 0;
}
} // namespace

int main()
{
    auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    fs::path root = fs::temp_directory_path() / ("vxdemo-" + std::to_string(stamp));
    fs::create_directories(root);
    fs::path previous = fs::current_path();
    fs::current_path(root);
    std::printf("VXSystem demo in %s\n", root.string().c_str());
    int result = Run();
    fs::current_path(previous);
    std::error_code error;
    fs::remove_all(root, error);
    return result;
}
