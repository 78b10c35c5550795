// Writes small file-set streams into the folder named by the argument: the seed corpus of
// file_set_fuzz. Streams are built byte by byte, so the seeds also cover names and sizes
// that the writer would never produce.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace
{
std::string U16(uint16_t v)
{
    return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)};
}
std::string U64(uint64_t v)
{
    std::string bytes;
    for (int i = 0; i < 8; ++i)
        bytes += static_cast<char>((v >> (8 * i)) & 0xFF);
    return bytes;
}
std::string Entry(std::string const& name, std::string const& content)
{
    return U16(static_cast<uint16_t>(name.size())) + name + U64(content.size()) + content;
}
std::string Header(uint16_t count)
{
    return "VTAR" + U16(1) + U16(count);
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 1;
    }
    std::vector<std::string> const seeds = {
        Header(0),
        Header(2) + Entry("a.txt", "alpha") + Entry("sub\\deep/b.bin", std::string(40, 'b')),
        Header(2) + Entry("zero.bin", "") + Entry("x\\y\\z", "z"),
        Header(1) + Entry("..\\up.txt", "up"),
        Header(1) + Entry("a/../../up.txt", "up"),
        Header(1) + Entry("/abs.txt", "abs"),
        Header(1) + Entry("C:drive.txt", "c"),
        Header(1) + Entry("big.bin", "short"),
        Header(3) + Entry("one", "1") + Entry("two\\", "2"),
    };
    int written = 0;
    for (std::string const& seed : seeds)
    {
        std::string path = std::string(argv[1]) + "/seed_" + std::to_string(written++) + ".vtar";
        std::ofstream out(path, std::ios::binary);
        out.write(seed.data(), static_cast<std::streamsize>(seed.size()));
        if (!out)
        {
            std::fprintf(stderr, "%s: cannot write\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
