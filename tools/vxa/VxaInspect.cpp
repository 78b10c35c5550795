// list, extract and verify: the commands that read one archive.
#include "VxaArchiveView.h"
#include "VxaProgress.h"
#include "VxaTool.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace
{
std::string JsonText(std::string const& text)
{
    std::string out = "\"";
    for (char c : text)
    {
        if (c == '"' || c == '\\')
            out += '\\';
        if (static_cast<unsigned char>(c) < 0x20)
        {
            char code[8];
            std::snprintf(code, sizeof(code), "\\u%04x", c);
            out += code;
            continue;
        }
        out += c;
    }
    return out + "\"";
}

void PrintTable(VxaArchiveView& view, std::vector<VxaMember const*> const& members)
{
    uint64_t total = 0, stored = 0;
    std::printf("%12s %12s %-4s  %s\n", "Size", "Stored", "Zip", "Name");
    std::printf("%12s %12s %-4s  %s\n", "----", "------", "---", "----");
    for (VxaMember const* member : members)
    {
        uint64_t size = view.QSize(*member);
        total += size;
        stored += member->uiStoredSize;
        std::printf("%12" PRIu64 " %12" PRIu64 " %-4s  %s\n", size, member->uiStoredSize,
                    member->bCompressed ? "yes" : "no", member->sPath.c_str());
    }
    std::printf("%12s %12s %-4s  %s\n", "----", "------", "", "-------");
    std::printf("%12" PRIu64 " %12" PRIu64 " %-4s  %zu files\n", total, stored, "", members.size());
}

void PrintJson(VxaArchiveView& view, std::vector<VxaMember const*> const& members)
{
    std::printf("[");
    for (size_t i = 0; i < members.size(); ++i)
        std::printf("%s\n  {\"name\": %s, \"size\": %" PRIu64 ", \"stored\": %" PRIu64
                    ", \"compressed\": %s}",
                    i ? "," : "", JsonText(members[i]->sPath).c_str(), view.QSize(*members[i]),
                    members[i]->uiStoredSize, members[i]->bCompressed ? "true" : "false");
    std::printf("\n]\n");
}

std::vector<VxaMember const*> Select(VxaArchiveView const& view, std::string const& pattern)
{
    std::vector<VxaMember const*> out;
    for (VxaMember const& member : view.QMembers())
        if (VxaMatches(pattern, member.sPath))
            out.push_back(&member);
    return out;
}

bool WriteWhole(fs::path const& path, std::string const& bytes)
{
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out.flush());
}

fs::path Relative(std::string path)
{
    for (char& c : path)
        if (c == '\\')
            c = '/';
    return fs::path(path);
}
} // namespace

int VxaList(VxaArgs const& args)
{
    if (VxaHasOption(args, "--help"))
        return VxaUsage("list", true);
    VxaArgs positional = VxaPositional(args);
    if (positional.empty() || positional.size() > 2 || !VxaUnknownOption(args, {"--json"}).empty())
        return VxaUsage("list", false);
    VxaArchiveView view;
    std::string reason;
    if (!view.Open(positional[0], reason))
        return VxaError("list", positional[0], reason);
    std::vector<VxaMember const*> members =
        Select(view, positional.size() > 1 ? positional[1] : "");
    if (VxaHasOption(args, "--json"))
        PrintJson(view, members);
    else
        PrintTable(view, members);
    return VXA_OK;
}

int VxaExtract(VxaArgs const& args)
{
    if (VxaHasOption(args, "--help"))
        return VxaUsage("extract", true);
    VxaArgs positional = VxaPositional(args);
    if (positional.size() < 2 || positional.size() > 3 || !VxaUnknownOption(args, {}).empty())
        return VxaUsage("extract", false);
    VxaArchiveView view;
    std::string reason;
    if (!view.Open(positional[0], reason))
        return VxaError("extract", positional[0], reason);
    std::vector<VxaMember const*> members =
        Select(view, positional.size() > 2 ? positional[2] : "");
    uint64_t totalBytes = 0;
    for (VxaMember const* member : members)
        totalBytes += view.QSize(*member);
    VxaProgress progress("extract", members.size(), totalBytes);
    uint64_t files = 0, bytes = 0;
    int result = VXA_OK;
    std::string data;
    for (VxaMember const* member : members)
    {
        if (VxaNameClimbsOut(member->sPath))
        {
            result = VxaError("extract", member->sPath, "refused: the name leaves the folder");
            continue;
        }
        if (!view.Read(*member, data, reason))
            result = VxaError("extract", member->sPath, reason);
        else if (!WriteWhole(fs::path(positional[1]) / Relative(member->sPath), data))
            result = VxaError("extract", member->sPath, "cannot be written");
        progress.Update(++files, bytes += data.size());
    }
    progress.Finish();
    return result;
}

int VxaVerify(VxaArgs const& args)
{
    if (VxaHasOption(args, "--help"))
        return VxaUsage("verify", true);
    VxaArgs positional = VxaPositional(args);
    if (positional.size() != 1 || !VxaUnknownOption(args, {}).empty())
        return VxaUsage("verify", false);
    VxaArchiveView view;
    std::string reason;
    if (!view.Open(positional[0], reason))
        return VxaError("verify", positional[0], reason);
    int result = VXA_OK;
    std::string data;
    for (VxaMember const& member : view.QMembers())
    {
        std::string fault = VxaArchiveView::CheckKeys(member);
        if (fault.empty())
            fault = view.CheckStream(member);
        if (fault.empty() && !view.Read(member, data, reason))
            fault = reason;
        if (!fault.empty())
            result = VxaError("verify", positional[0] + ": " + member.sPath, fault);
    }
    if (result == VXA_OK)
        std::printf("%s: %zu members, all sound\n", positional[0].c_str(), view.QMembers().size());
    return result;
}
