// Reading 20,000 members of 256 B to 64 KiB by name out of an archive, stored and
// compressed, against the same files read loose with open/read and against bare zlib
// inflate of the same compressed bytes. Prints microseconds per member and the ratios,
// for the members in archive order and in a shuffled order. Then the host's road
// (FileFinder::GetFile and Read) against direct archive reads and against libzip and
// PhysFS reading a stored zip of the same files, the cost of the loose-twin test on the
// first read of each member, and misses that probe the disk. The data lives in a temp
// folder that is removed at the end.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"
#include "vxsystem/FileFinder.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>
#ifdef VX_BENCH_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef VX_BENCH_LIBZIP
#include <zip.h>
#endif
#ifdef VX_BENCH_PHYSFS
#include <physfs.h>
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr int kMembers = 20000;
constexpr int kDirectories = 100;
constexpr size_t kMaxSize = 65536;
constexpr int kPasses = 3;
// Paired rows: this many rounds of both sides, and the median of the per-round figures.
constexpr int kPairedRounds = 7;

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}
constexpr unsigned int kHostBuffer = 65536; // what the manager gives mesh and texture readers

struct Member
{
    std::string sName;      // in the archive, backslashes
    std::string sLoosePath; // on disk
    size_t uiSize;
};

struct Packed
{
    uint64_t uiOffset; // of the zlib stream in the compressed archive
    uint64_t uiSize;   // its bytes
};

// Text-like bytes from a fixed vocabulary: compresses about as well as game text and data.
std::string MakeContent(std::mt19937& random, size_t size, std::vector<std::string> const& words)
{
    std::string bytes;
    bytes.reserve(size + 16);
    while (bytes.size() < size)
    {
        bytes += words[random() % words.size()];
        bytes += (random() % 12 == 0) ? '\n' : ' ';
        if (random() % 16 == 0)
            bytes += static_cast<char>(random());
    }
    bytes.resize(size);
    return bytes;
}

std::vector<Member> WriteLooseFiles(std::filesystem::path const& root)
{
    std::mt19937 random(1234);
    std::vector<std::string> words;
    for (int i = 0; i < 400; ++i)
    {
        std::string word;
        for (size_t n = 3 + random() % 8; n; --n)
            word += static_cast<char>('a' + random() % 26);
        words.push_back(word);
    }
    std::uniform_real_distribution<double> exponent(0.0, 8.0);
    std::vector<Member> members;
    for (int i = 0; i < kMembers; ++i)
    {
        int d = i % kDirectories;
        char name[64], folderName[16];
        std::snprintf(name, sizeof(name), "d%02d\\f%05d.bin", d, i);
        std::snprintf(folderName, sizeof(folderName), "d%d", d);
        std::filesystem::path folder = root / folderName;
        std::filesystem::create_directories(folder);
        std::filesystem::path path = folder / (name + 4);
        // Sizes spread evenly over the octaves from 256 B to 64 KiB.
        size_t size =
            std::min(kMaxSize, static_cast<size_t>(256.0 * std::pow(2.0, exponent(random))));
        std::string bytes = MakeContent(random, size, words);
        std::ofstream(path, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(size));
        members.push_back({name, path.string(), size});
    }
    return members;
}

bool WriteArchive(std::vector<Member> const& members, bool compressed, std::string const& path,
                  VXArchiveLayout& layout)
{
    VXArchiveWriterOptions options;
    if (!compressed)
        options.uiFlags &= ~VXArchiveHeader::AF_COMPRESSED;
    VXArchiveWriter writer(options);
    for (Member const& member : members)
        writer.AddDiskFile(member.sName, member.sLoosePath);
    if (!writer.Write(path))
    {
        std::fprintf(stderr, "writer: %s\n", writer.QError().c_str());
        return false;
    }
    layout = writer.QLayout();
    return true;
}

// Best of kPasses, in microseconds per member.
double Time(std::vector<int> const& order, std::function<size_t(int)> const& readOne,
            size_t expectedBytes, int passes = kPasses)
{
    double best = 1e30;
    for (int pass = 0; pass < passes; ++pass)
    {
        auto start = std::chrono::steady_clock::now();
        size_t bytes = 0;
        for (int index : order)
            bytes += readOne(index);
        std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - start;
        if (bytes != expectedBytes)
        {
            std::fprintf(stderr, "read %zu bytes, expected %zu\n", bytes, expectedBytes);
            return -1;
        }
        best = std::min(best, spent.count() / static_cast<double>(order.size()));
    }
    return best;
}

size_t ReadLoose(Member const& member, char* buffer)
{
    int fd = open(member.sLoosePath.c_str(), O_RDONLY);
    if (fd < 0)
        return 0;
    size_t total = 0;
    for (ssize_t got; (got = read(fd, buffer + total, kMaxSize - total)) > 0;)
        total += static_cast<size_t>(got);
    close(fd);
    return total;
}

size_t ReadMember(Archive& archive, Member const& member, char* buffer)
{
    VXHash dir, file;
    VXHash::MakeDirAndFile(member.sName.c_str(), dir, file);
    uint64_t dirIndex = 0, fileIndex = 0;
    if (!archive.FindFile(dir, file, dirIndex, fileIndex, member.sName.c_str()))
        return 0;
    std::unique_ptr<ArchiveFile> reader(
        archive.GetFile(dirIndex, fileIndex, 0, member.sName.c_str()));
    if (!reader)
        return 0;
    size_t total = 0;
    while (uint64_t got = reader->Read(buffer + total, kMaxSize - total))
        total += got;
    return total;
}

size_t Inflate(char const* in, size_t size, char* buffer)
{
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return 0;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in));
    stream.avail_in = static_cast<uInt>(size);
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = kMaxSize;
    inflate(&stream, Z_FINISH);
    size_t total = stream.total_out;
    inflateEnd(&stream);
    return total;
}

size_t InflateBare(std::vector<char> const& packed, Packed const& where, char* buffer)
{
    return Inflate(packed.data() + where.uiOffset, where.uiSize, buffer);
}

// What a reader without an archive layer does: one positioned read, then zlib.
size_t PreadInflate(int fd, Packed const& where, std::vector<char>& scratch, char* buffer)
{
    scratch.resize(std::max<size_t>(scratch.size(), where.uiSize));
    if (pread(fd, scratch.data(), where.uiSize, static_cast<off_t>(where.uiOffset)) !=
        static_cast<ssize_t>(where.uiSize))
        return 0;
    return Inflate(scratch.data(), where.uiSize, buffer);
}

size_t ReadHost(Member const& member, char* buffer)
{
    std::unique_ptr<KoFile> file(
        FileFinder::GetFile(member.sName.c_str(), KoFile::MODE_READ, kHostBuffer));
    if (!file)
        return 0;
    size_t total = 0;
    while (uint64_t got = file->Read(buffer + total, kMaxSize - total))
        total += got;
    return total;
}

// Opens the master archives as a host does; Close hands them back.
void OpenHost(bool invalidate)
{
    ArchiveManager::SetInvalidation(invalidate, nullptr);
    ArchiveManager::OpenMasterArchives();
}

void CloseHost()
{
    std::vector<std::unique_ptr<Archive>> archives;
    if (VXTArray<Archive*>* list = ArchiveManager::GetArchiveList())
        for (Archive* archive : *list)
            archives.emplace_back(archive);
    ArchiveManager::CloseAll();
}

std::vector<std::string> ZipNames(std::vector<Member> const& members)
{
    std::vector<std::string> names;
    for (Member const& member : members)
    {
        names.push_back(member.sName);
        std::replace(names.back().begin(), names.back().end(), '\\', '/');
    }
    return names;
}

#ifdef VX_BENCH_LIBZIP
// The same files as one zip with stored members, written by libzip.
bool WriteZip(std::vector<Member> const& members, std::vector<std::string> const& names,
              std::string const& path)
{
    int error = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!zip)
        return false;
    for (size_t i = 0; i < members.size(); ++i)
    {
        zip_source_t* source = zip_source_file(zip, members[i].sLoosePath.c_str(), 0, -1);
        zip_int64_t index = source ? zip_file_add(zip, names[i].c_str(), source, 0) : -1;
        if (index < 0)
            zip_source_free(source);
        if (index < 0 ||
            zip_set_file_compression(zip, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0) != 0)
        {
            zip_discard(zip);
            return false;
        }
    }
    return zip_close(zip) == 0;
}

size_t ReadZip(zip_t* zip, std::string const& name, char* buffer)
{
    zip_file_t* file = zip_fopen(zip, name.c_str(), 0);
    if (!file)
        return 0;
    size_t total = 0;
    for (zip_int64_t got; (got = zip_fread(file, buffer + total, kMaxSize - total)) > 0;)
        total += static_cast<size_t>(got);
    zip_fclose(file);
    return total;
}
#endif

#ifdef VX_BENCH_PHYSFS
size_t ReadPhysfs(std::string const& name, char* buffer)
{
    PHYSFS_File* file = PHYSFS_openRead(name.c_str());
    if (!file)
        return 0;
    PHYSFS_sint64 got = PHYSFS_readBytes(file, buffer, kMaxSize);
    PHYSFS_close(file);
    return got > 0 ? static_cast<size_t>(got) : 0;
}
#endif

// The zlib streams of the compressed archive, in one block, indexed like the members.
std::vector<Packed> LoadPackedStreams(std::string const& path, VXArchiveLayout const& layout,
                                      std::vector<Member> const& members, std::vector<char>& block)
{
    std::ifstream in(path, std::ios::binary);
    block.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    std::vector<Packed> packed(members.size());
    for (auto const& placed : layout.kMembers)
    {
        auto it = std::find_if(members.begin(), members.end(),
                               [&](Member const& m) { return m.sName == placed.sPath; });
        packed[static_cast<size_t>(it - members.begin())] = {placed.uiDataOffset + 8,
                                                             placed.uiStoredSize - 8u};
    }
    return packed;
}

#ifdef VX_BENCH_LIBDEFLATE
size_t InflateDeflateBare(std::vector<char> const& packed, Packed const& where, char* buffer)
{
    static libdeflate_decompressor* sDecompressor = libdeflate_alloc_decompressor();
    size_t actual = 0;
    libdeflate_zlib_decompress(sDecompressor, packed.data() + where.uiOffset, where.uiSize, buffer,
                               kMaxSize, &actual);
    return actual;
}
#endif

// Both halves of order on two threads at once, each with its own buffer; us per member.
// Two threads taking every other member; readOne gets the member and a buffer of its own.
double TimeTwoThreads(std::vector<int> const& order,
                      std::function<size_t(int, char*)> const& readOne)
{
    auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (size_t half = 0; half < 2; ++half)
        threads.emplace_back(
            [&, half]
            {
                std::vector<char> buffer(kMaxSize);
                for (size_t k = half; k < order.size(); k += 2)
                    readOne(order[k], buffer.data());
            });
    for (std::thread& thread : threads)
        thread.join();
    std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    return took.count() / order.size();
}

void Report(char const* order, double loose, double stored, double compressed, double bare)
{
    std::printf("%s order:\n", order);
    std::printf("  loose open/read      %8.2f us/member\n", loose);
    std::printf("  archive stored       %8.2f us/member   loose/stored     %5.2fx faster\n", stored,
                loose / stored);
    std::printf("  bare zlib inflate    %8.2f us/member\n", bare);
    std::printf("  archive compressed   %8.2f us/member   compressed/bare  %5.3fx\n", compressed,
                compressed / bare);
}
} // namespace

void Row(char const* name, double us, char const* against, double ratio)
{
    std::printf("  %-34s %8.2f us/member   %-30s %5.2fx\n", name, us, against, ratio);
}

// The host's road over the stored archive, scattered, against direct reads and the zip
// peers; then the loose-twin test on first reads, and misses that probe the disk.
int HostRows(std::filesystem::path const& root, std::vector<Member> const& members,
             std::vector<int> const& shuffled, Archive& stored, size_t totalBytes)
{
    std::vector<char> buffer(kMaxSize);
    char* out = buffer.data();
    std::vector<std::string> zipNames = ZipNames(members);
    if (chdir(root.c_str()) != 0)
        return 1;
    FileFinder finder(nullptr, 0, false);
    FileFinder::AddPath("Data");
    OpenHost(false);
    std::printf("host road (FileFinder::GetFile, %u-byte reader), stored, shuffled:\n",
                kHostBuffer);
    double host = Time(
        shuffled, [&](int i) { return ReadHost(members[i], out); }, totalBytes);
    double direct = Time(
        shuffled, [&](int i) { return ReadMember(stored, members[i], out); }, totalBytes);
    Row("direct Archive reads", direct, "", 1.0);
    Row("host road", host, "host/direct (<= 1.15x)", host / direct);
#ifdef VX_BENCH_LIBZIP
    std::string zipPath = (root / "stored.zip").string();
    if (!WriteZip(members, zipNames, zipPath))
        return 1;
    int error = 0;
    zip_t* zip = zip_open(zipPath.c_str(), ZIP_RDONLY, &error);
    if (!zip)
        return 1;
    double libzip = Time(
        shuffled, [&](int i) { return ReadZip(zip, zipNames[i], out); }, totalBytes);
    zip_close(zip);
    Row("libzip, stored zip", libzip, "libzip/host (>= 2x)", libzip / host);
#ifdef VX_BENCH_PHYSFS
    if (!PHYSFS_init(nullptr) || !PHYSFS_mount(zipPath.c_str(), nullptr, 1))
        return 1;
    double physfs = Time(
        shuffled, [&](int i) { return ReadPhysfs(zipNames[i], out); }, totalBytes);
    PHYSFS_deinit();
    Row("PhysFS, stored zip", physfs, "physfs/host", physfs / host);
#endif
#endif
    // First reads only: every pass opens the archive afresh, so each member's twin test
    // runs once. Passes alternate so that drift hits both sides alike.
    CloseHost();
    std::vector<double> offs, ons, deltas;
    for (int round = 0; round < kPairedRounds; ++round)
    {
        double first[2] = {0, 0};
        // Either side goes first in every other round, so that what the first pass leaves
        // in the caches favours neither.
        for (int side = 0; side < 2; ++side)
        {
            bool invalidate = (side + round) % 2 == 1;
            OpenHost(invalidate);
            first[invalidate] = Time(
                shuffled, [&](int i) { return ReadHost(members[i], out); }, totalBytes, 1);
            CloseHost();
        }
        offs.push_back(first[0]);
        ons.push_back(first[1]);
        deltas.push_back(first[1] - first[0]);
    }
    std::printf("first read of each member, host road, shuffled (medians of %d rounds):\n",
                kPairedRounds);
    Row("invalidation off", Median(offs), "", 1.0);
    std::printf("  %-34s %8.2f us/member   on - off (<= +0.3 us)          %+5.2f us\n",
                "invalidation on", Median(ons), Median(deltas));
    OpenHost(true);
    std::vector<std::string> misses;
    for (size_t i = 0; i < members.size(); ++i)
    {
        char name[64];
        std::snprintf(name, sizeof(name), "d%02zu\\none%05zu.bin", i % kDirectories, i);
        misses.push_back(name);
    }
    double miss = Time(
        shuffled,
        [&](int i)
        {
            char path[MAX_PATH_BYTES];
            return size_t{FileFinder::Locate(misses[i].c_str(), path, 0, 0xFFFF) !=
                          FileFinder::FILE_NOT_FOUND};
        },
        0);
    CloseHost();
    std::printf("host Exist miss, archives and disk probes: %.2f us/name\n", miss);
    return 0;
}

int main()
{
    std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("vxbench_archive_" + std::to_string(getpid()));
    auto setupStart = std::chrono::steady_clock::now();
    std::vector<Member> members = WriteLooseFiles(root / "loose");
    VXArchiveLayout storedLayout, packedLayout;
    std::string storedPath = (root / "Data" / "Stored.vxa").string();
    std::string packedPath = (root / "Data" / "Packed.vxa").string();
    std::filesystem::create_directories(root / "Data" / "d00"); // one folder with a loose twin
    std::ofstream(root / "Data" / "d00" / "other.bin") << "loose";
    if (!WriteArchive(members, false, storedPath, storedLayout) ||
        !WriteArchive(members, true, packedPath, packedLayout))
        return 1;
    std::vector<char> packedBlock;
    std::vector<Packed> packed = LoadPackedStreams(packedPath, packedLayout, members, packedBlock);
    std::chrono::duration<double> setup = std::chrono::steady_clock::now() - setupStart;
    size_t totalBytes = 0;
    for (Member const& member : members)
        totalBytes += member.uiSize;
    std::printf("%d members, %.1f MB, compressed archive %.1f MB; data made in %.1f s\n", kMembers,
                totalBytes / 1e6, packedLayout.uiFileSize / 1e6, setup.count());

    // A host's settings: no loose-file overrides, readers of up to 128 KiB.
    ArchiveManager::Init(true, "Data\\", "Stored.vxa", 0x20000);
    ArchiveManager::SetInvalidateOlderFiles(false);
    ArchiveManager::SetStartupFinished();
    int result = 0;
    {
        Archive stored(storedPath.c_str(), 262144, false, false);
        Archive compressed(packedPath.c_str(), 262144, false, false);
        int packedFd = open(packedPath.c_str(), O_RDONLY);
        if (stored.GetDisabled() || compressed.GetDisabled() || packedFd < 0)
            return 1;
        std::vector<char> buffer(kMaxSize), scratch;
        char* out = buffer.data();
        std::vector<int> archiveOrder; // the order of the tables, which is the order on disk
        for (auto const& placed : storedLayout.kMembers)
            archiveOrder.push_back(static_cast<int>(std::stoi(placed.sPath.substr(5, 5))));
        // Where each member's bytes lie in the stored archive, for the bare reads.
        int storedFd = open(storedPath.c_str(), O_RDONLY);
        std::vector<std::pair<uint64_t, uint32_t>> storedSpans(members.size());
        for (auto const& placed : storedLayout.kMembers)
            storedSpans[static_cast<size_t>(std::stoi(placed.sPath.substr(5, 5)))] = {
                placed.uiDataOffset, placed.uiStoredSize};
        size_t storedBytes = 0;
        for (auto const& span : storedSpans)
            storedBytes += span.second;
        std::vector<int> shuffled = archiveOrder;
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(99));
        Time(
            archiveOrder, [&](int i) { return ReadLoose(members[i], out); }, totalBytes); // warm
        for (auto const* order : {&archiveOrder, &shuffled})
        {
            double loose = Time(
                *order, [&](int i) { return ReadLoose(members[i], out); }, totalBytes);
            double raw = Time(
                *order, [&](int i) { return ReadMember(stored, members[i], out); }, totalBytes);
            double bare = Time(
                *order, [&](int i) { return InflateBare(packedBlock, packed[i], out); },
                totalBytes);
            double zipped = Time(
                *order, [&](int i) { return ReadMember(compressed, members[i], out); }, totalBytes);
            Report(order == &archiveOrder ? "archive" : "shuffled", loose, raw, zipped, bare);
            double preadZlib = Time(
                *order, [&](int i) { return PreadInflate(packedFd, packed[i], scratch, out); },
                totalBytes);
            std::printf("  pread + zlib         %8.2f us/member   (pread+zlib)/compressed %5.2fx "
                        "(>= 2x)\n",
                        preadZlib, preadZlib / zipped);
#ifdef VX_BENCH_LIBDEFLATE
            double deflate = Time(
                *order, [&](int i) { return InflateDeflateBare(packedBlock, packed[i], out); },
                totalBytes);
            std::printf("  bare libdeflate      %8.2f us/member   bare zlib/compressed %5.2fx\n",
                        deflate, bare / zipped);
#endif
            // The same bytes with bare positioned reads: what the machine itself gains from
            // a second thread.
            auto bareRead = [&](int i, char* into)
            {
                auto const& span = storedSpans[static_cast<size_t>(i)];
                return static_cast<size_t>(
                    pread(storedFd, into, span.second, static_cast<off_t>(span.first)));
            };
            auto memberRead = [&](int i, char* into)
            { return ReadMember(stored, members[static_cast<size_t>(i)], into); };
            // Each round times one thread and two back to back; the medians of the rounds'
            // speed-ups count, as the machine's speed drifts between rounds.
            std::vector<double> twos, speedUps, bareTwos, bareSpeedUps;
            for (int round = 0; round < kPairedRounds; ++round)
            {
                double one = Time(
                    *order, [&](int i) { return memberRead(i, out); }, totalBytes, 1);
                double two = TimeTwoThreads(*order, memberRead);
                double bareOne = Time(
                    *order, [&](int i) { return bareRead(i, out); }, storedBytes, 1);
                double bareTwo = TimeTwoThreads(*order, bareRead);
                twos.push_back(two);
                speedUps.push_back(one / two);
                bareTwos.push_back(bareTwo);
                bareSpeedUps.push_back(bareOne / bareTwo);
            }
            std::printf("  2 threads, stored    %8.2f us/member   speed-up (>= 1.6x)  %5.2fx\n",
                        Median(twos), Median(speedUps));
            std::printf("  2 threads, bare pread%8.2f us/member   speed-up            %5.2fx\n",
                        Median(bareTwos), Median(bareSpeedUps));
        }
        close(packedFd);
        close(storedFd);
        result = HostRows(root, members, shuffled, stored, totalBytes);
    }
    if (chdir("/") != 0)
        result = 1;
    std::error_code error;
    std::filesystem::remove_all(root, error);
    ArchiveManager::Shutdown();
    return result;
}
