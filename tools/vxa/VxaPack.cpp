// pack: a folder into one archive, names relative to the folder with backslashes.
#include "VxaProgress.h"
#include "VxaTool.h"

#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/VXArchiveTypes.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace
{
struct TypeName
{
    char const* pName;
    uint16_t usMask;
};

constexpr TypeName kTypeNames[] = {
    {"meshes", ARCHIVE_TYPE_MESHES}, {"textures", ARCHIVE_TYPE_TEXTURES},
    {"menus", ARCHIVE_TYPE_MENUS},   {"sounds", ARCHIVE_TYPE_SOUNDS},
    {"voices", ARCHIVE_TYPE_VOICES}, {"shaders", ARCHIVE_TYPE_SHADERS},
    {"trees", ARCHIVE_TYPE_TREES},   {"fonts", ARCHIVE_TYPE_FONTS},
    {"misc", ARCHIVE_TYPE_MISC},
};

// "meshes,textures" to a type mask; false naming the first unknown word.
bool ParseTypes(std::string const& list, uint16_t& mask, std::string& unknown)
{
    std::stringstream words(list);
    std::string word;
    mask = 0;
    while (std::getline(words, word, ','))
    {
        std::transform(word.begin(), word.end(), word.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        auto it = std::find_if(std::begin(kTypeNames), std::end(kTypeNames),
                               [&](TypeName const& t) { return word == t.pName; });
        if (it == std::end(kTypeNames))
        {
            unknown = word;
            return false;
        }
        mask = static_cast<uint16_t>(mask | it->usMask);
    }
    return mask != 0;
}

// The value of "--type=list" or "--type list".
bool OptionValue(VxaArgs const& args, char const* option, std::string& value)
{
    std::string prefix = std::string(option) + "=";
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i].rfind(prefix, 0) == 0)
            value = args[i].substr(prefix.size());
        else if (args[i] == option && i + 1 < args.size())
            value = args[i + 1];
        else
            continue;
        return true;
    }
    return false;
}

VxaArgs WithoutValue(VxaArgs args, char const* option)
{
    auto it = std::find(args.begin(), args.end(), option);
    if (it != args.end())
        args.erase(it, std::min(it + 2, args.end()));
    return args;
}

std::string StoredName(fs::path const& relative)
{
    std::string name = relative.generic_string();
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
}
} // namespace

int VxaPack(VxaArgs const& rawArgs)
{
    if (VxaHasOption(rawArgs, "--help"))
        return VxaUsage("pack", true);
    VxaArgs args = WithoutValue(rawArgs, "--type");
    VxaArgs positional = VxaPositional(args);
    std::string unknownOption = VxaUnknownOption(
        args, {"--compress", "--no-compress", "--embed-names", "--no-names", "--type="});
    if (positional.size() != 2 || !unknownOption.empty())
        return VxaUsage("pack", false);

    VXArchiveWriterOptions options;
    if (VxaHasOption(args, "--no-compress"))
        options.uiFlags &= ~VXArchiveHeader::AF_COMPRESSED;
    if (VxaHasOption(args, "--embed-names"))
        options.uiFlags |= VXArchiveHeader::AF_EMBEDDED_FILE_NAMES;
    if (VxaHasOption(args, "--no-names"))
        options.uiFlags &=
            ~(VXArchiveHeader::AF_DIRECTORY_STRINGS | VXArchiveHeader::AF_FILE_STRINGS);
    std::string types, unknown;
    if (OptionValue(rawArgs, "--type", types) && !ParseTypes(types, options.usArchiveType, unknown))
        return VxaError("pack", "--type", "unknown type '" + unknown + "'");

    fs::path folder(positional[0]);
    std::error_code error;
    if (!fs::is_directory(folder, error))
        return VxaError("pack", positional[0], "not a folder");
    std::vector<fs::path> files;
    uint64_t totalBytes = 0;
    for (auto it = fs::recursive_directory_iterator(folder, error);
         !error && it != fs::recursive_directory_iterator(); it.increment(error))
        if (it->is_regular_file(error))
        {
            files.push_back(it->path());
            totalBytes += it->file_size(error);
        }
    if (error)
        return VxaError("pack", positional[0], "cannot list: " + error.message());

    VxaProgress progress("pack", files.size(), totalBytes);
    VXArchiveWriter writer(options);
    writer.SetProgress([&](size_t done, uint64_t bytes) { progress.Update(done, bytes); });
    for (fs::path const& file : files)
        if (!writer.AddDiskFile(StoredName(fs::relative(file, folder)), file.string()))
            return VxaError("pack", file.string(), writer.QError());
    fs::create_directories(fs::absolute(positional[1], error).parent_path(), error);
    if (!writer.Write(positional[1]))
        return VxaError("pack", positional[1], writer.QError());
    progress.Finish();
    return VXA_OK;
}
