// cat and which: names asked of the whole file view over a data folder, as a host starts
// it. The host's master list is the folder's archives in name order, less those that
// "Plugins.txt" loads after them (or the list given with --archives); loose files
// override members.
#include "VxaArchiveView.h"
#include "VxaTool.h"

#include "vxsystem/vxsystem.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

namespace fs = std::filesystem;

namespace
{
std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The archives "Plugins.txt" in root names, lower case: each line's plug-in name with its
// ".qkp" or ".qkm" ending made ".vxa".
std::set<std::string> PluginArchives(fs::path const& root)
{
    std::set<std::string> out;
    std::ifstream in(root / "Plugins.txt");
    std::string line;
    while (std::getline(in, line))
    {
        size_t end = line.find(".qkp");
        if (end == std::string::npos)
            end = line.find(".qkm");
        if (!line.empty() && line[0] != '#' && end != std::string::npos)
            out.insert(Lower(line.substr(0, end) + ".vxa"));
    }
    return out;
}

// Starts the view in the data folder's parent (the working directory of a host) and
// stops it again when the scope ends.
class FileViewScope
{
public:
    FileViewScope(fs::path const& dataFolder, std::string list)
        : kPrevious(fs::current_path(kError)), kFinder(nullptr, 0, false)
    {
        fs::path data = fs::absolute(dataFolder, kError).lexically_normal();
        if (!data.has_filename())
            data = data.parent_path();
        // The folder's own archives are the master list, in name order.
        std::vector<std::string> names;
        for (auto it = fs::directory_iterator(data, kError);
             !kError && it != fs::directory_iterator(); it.increment(kError))
            if (it->path().extension() == ".vxa")
                names.push_back(it->path().filename().string());
        std::set<std::string> plugins = PluginArchives(data.parent_path());
        fs::current_path(data.parent_path(), kError);
        std::string master = data.filename().string() + "\\";
        std::sort(names.begin(), names.end());
        bool given = !list.empty();
        for (std::string const& name : names)
            if (!given && !plugins.count(Lower(name)))
                list += (list.empty() ? "" : ",") + name;
        ArchiveManager::Init(true, master.c_str(), list.c_str(), 0x20000);
        ArchiveManager::SetInvalidation(true, nullptr);
        FileFinder::AddPath(master.c_str());
        ArchiveManager::OpenMasterArchives();
        ArchiveManager::SetStartupFinished();
    }
    ~FileViewScope()
    {
        std::vector<std::unique_ptr<Archive>> archives;
        for (unsigned int a = 0;
             ArchiveManager::GetArchiveList() && a < ArchiveManager::GetArchiveList()->QSize(); ++a)
            archives.emplace_back((*ArchiveManager::GetArchiveList())[a]);
        ArchiveManager::CloseAll();
        ArchiveManager::Shutdown();
        fs::current_path(kPrevious, kError);
    }

private:
    std::error_code kError; // the tool reports missing folders before it gets here
    fs::path kPrevious;
    FileFinder kFinder;
};

std::string ArchivesOption(VxaArgs const& args)
{
    for (std::string const& arg : args)
        if (arg.rfind("--archives=", 0) == 0)
            return arg.substr(11);
    return {};
}

bool WriteMember(std::string const& bytes)
{
    return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() &&
           std::fflush(stdout) == 0;
}

int CatFromArchive(std::string const& archivePath, std::string const& name)
{
    VxaArchiveView view;
    std::string reason, bytes;
    if (!view.Open(archivePath, reason))
        return VxaError("cat", archivePath, reason);
    for (VxaMember const& member : view.QMembers())
    {
        if (!VxaMatches(name, member.sPath) || !VxaMatches(member.sPath, name))
            continue;
        if (!view.Read(member, bytes, reason))
            return VxaError("cat", archivePath + ": " + member.sPath, reason);
        return WriteMember(bytes) ? VXA_OK : VxaError("cat", "stdout", "write failed");
    }
    return VxaError("cat", archivePath, "no member '" + name + "'");
}

int CatFromView(std::string const& folder, std::string const& name, std::string const& list)
{
    FileViewScope scope(folder, list);
    std::unique_ptr<KoFile> file(FileFinder::GetFile(name.c_str(), KoFile::MODE_READ, 0x10000));
    if (!file)
        return VxaError("cat", folder, "nothing serves '" + name + "'");
    std::string bytes(0x10000, '\0');
    while (uint64_t got = file->Read(bytes.data(), bytes.size()))
        if (std::fwrite(bytes.data(), 1, got, stdout) != got)
            return VxaError("cat", "stdout", "write failed");
    return std::fflush(stdout) == 0 ? VXA_OK : VxaError("cat", "stdout", "write failed");
}

// Archives that hold a record of the name, usable or dropped by invalidation.
std::vector<std::pair<Archive*, bool>> Holders(char const* name)
{
    std::vector<std::pair<Archive*, bool>> out;
    VXHash dir, file;
    VXHash::MakeDirAndFile(ArchiveManager::TrimFileName(name), dir, file);
    VXTArray<Archive*>* list = ArchiveManager::GetArchiveList();
    for (unsigned int a = 0; list && a < list->QSize(); ++a)
        for (uint64_t d = 0; VXDirectoryEntry* entry = (*list)[a]->GetDirectory(d); ++d)
            for (uint32_t f = 0; entry->kHash.Hash() == dir.Hash() && f < entry->uiEntryCount; ++f)
                if (entry->pEntries[f].kHash.Hash() == file.Hash())
                    out.emplace_back((*list)[a], entry->pEntries[f].QOffset() != 0);
    return out;
}
} // namespace

int VxaCat(VxaArgs const& args)
{
    if (VxaHasOption(args, "--help"))
        return VxaUsage("cat", true);
    VxaArgs positional = VxaPositional(args);
    if (positional.size() != 2 || !VxaUnknownOption(args, {"--archives="}).empty())
        return VxaUsage("cat", false);
    std::error_code error;
    if (fs::is_directory(positional[0], error))
        return CatFromView(positional[0], positional[1], ArchivesOption(args));
    return CatFromArchive(positional[0], positional[1]);
}

int VxaWhich(VxaArgs const& args)
{
    if (VxaHasOption(args, "--help"))
        return VxaUsage("which", true);
    VxaArgs positional = VxaPositional(args);
    if (positional.size() != 2 || !VxaUnknownOption(args, {"--archives="}).empty())
        return VxaUsage("which", false);
    std::error_code error;
    if (!fs::is_directory(positional[0], error))
        return VxaError("which", positional[0], "not a folder");
    FileViewScope scope(positional[0], ArchivesOption(args));
    char const* name = positional[1].c_str();
    char where[MAX_PATH_BYTES] = {};
    FileFinder::FILE_LOCATION location = FileFinder::Locate(name, where, 0, 0xFFFF);
    std::vector<std::pair<Archive*, bool>> holders = Holders(name);
    Archive* served = location == FileFinder::FILE_IN_ARCHIVE
                          ? ArchiveManager::GetArchiveForFile(name, ARCHIVE_TYPE_ALL)
                          : nullptr;
    if (location == FileFinder::FILE_NOT_FOUND)
    {
        std::printf("%s: not found\n", name);
        return VXA_FAILED;
    }
    if (served)
        std::printf("%s: archive %s\n", name, served->GetFileName());
    else
        std::printf("%s: loose file %s\n", name, where);
    for (auto const& [archive, usable] : holders)
    {
        if (archive == served)
            continue;
        char const* why = !usable  ? "dropped: a loose file or a later archive replaces it"
                          : served ? "not used: an earlier archive serves the name"
                                   : "not used: the loose file comes first";
        std::printf("  also in %s, %s\n", archive->GetFileName(), why);
    }
    return VXA_OK;
}
