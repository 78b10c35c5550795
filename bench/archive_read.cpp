// Reading 20,000 members of 256 B to 64 KiB by name out of an archive, stored and
// compressed, against the same files read loose with open/read and against bare zlib
// inflate of the same compressed bytes. Prints microseconds per member and the ratios,
// for the members in archive order and in a shuffled order. The data lives in a temp
// folder that is removed at the end.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

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
#include <vector>

namespace
{
constexpr int kMembers = 20000;
constexpr int kDirectories = 100;
constexpr size_t kMaxSize = 65536;
constexpr int kPasses = 3;

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
        char name[64];
        std::snprintf(name, sizeof(name), "d%02d\\f%05d.bin", d, i);
        std::filesystem::path folder = root / ("d" + std::to_string(d));
        std::filesystem::create_directories(folder);
        std::filesystem::path path = folder / (std::string(name).substr(4));
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
            size_t expectedBytes)
{
    double best = 1e30;
    for (int pass = 0; pass < kPasses; ++pass)
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

size_t InflateBare(std::vector<char> const& packed, Packed const& where, char* buffer)
{
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return 0;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data() + where.uiOffset));
    stream.avail_in = static_cast<uInt>(where.uiSize);
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = kMaxSize;
    inflate(&stream, Z_FINISH);
    size_t total = stream.total_out;
    inflateEnd(&stream);
    return total;
}

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

int main()
{
    std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("vxbench_archive_" + std::to_string(getpid()));
    auto setupStart = std::chrono::steady_clock::now();
    std::vector<Member> members = WriteLooseFiles(root / "loose");
    VXArchiveLayout storedLayout, packedLayout;
    std::string storedPath = (root / "stored.vxa").string();
    std::string packedPath = (root / "packed.vxa").string();
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
    ArchiveManager::Init(true, "", nullptr, 0);
    ArchiveManager::SetInvalidateOlderFiles(false);
    ArchiveManager::SetStartupFinished();
    {
        Archive stored(storedPath.c_str(), 262144, false, false);
        Archive compressed(packedPath.c_str(), 262144, false, false);
        if (stored.GetDisabled() || compressed.GetDisabled())
            return 1;
        std::vector<char> buffer(kMaxSize);
        char* out = buffer.data();
        std::vector<int> archiveOrder; // the order of the tables, which is the order on disk
        for (auto const& placed : storedLayout.kMembers)
            archiveOrder.push_back(static_cast<int>(std::stoi(placed.sPath.substr(5, 5))));
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
        }
    }
    std::error_code error;
    std::filesystem::remove_all(root, error);
    ArchiveManager::Shutdown();
    return 0;
}
