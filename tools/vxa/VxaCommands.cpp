// The command table of vxa: usage texts, option parsing and the dispatch.
#include "VxaTool.h"

#include <cstdio>
#include <cstring>

namespace
{
struct Command
{
    char const* pName;
    int (*pRun)(VxaArgs const&);
    char const* pUsage;
};

constexpr Command kCommands[] = {
    {"pack", VxaPack,
     "vxa pack <folder> <out.vxa> [--compress|--no-compress] [--embed-names] [--no-names]\n"
     "         [--type meshes,textures,menus,sounds,voices,shaders,trees,fonts,misc]\n"
     "  Packs every file under <folder>, named relative to it with backslashes.\n"
     "  Members are compressed unless --no-compress; --no-names leaves the name tables out;\n"
     "  --embed-names stores each member's name before its data; --type sets the archive's\n"
     "  kinds of content (default: from the members' extensions).\n"},
    {"list", VxaList,
     "vxa list <archive> [pattern] [--json]\n"
     "  Every member (or those matching the wildcard pattern) with its size, stored size and\n"
     "  compression, sorted by name. --json prints an array for scripts.\n"},
    {"extract", VxaExtract,
     "vxa extract <archive> <folder> [pattern]\n"
     "  Writes the members (or those matching the pattern) under <folder>. Names that would\n"
     "  leave the folder are refused.\n"},
    {"cat", VxaCat,
     "vxa cat <archive-or-data-folder> <name> [--archives=a.vxa,b.vxa]\n"
     "  Writes the bytes of one name to stdout: the member of the archive, or what the whole\n"
     "  file view serves for a data folder (its archives, \"Plugins.txt\" beside the folder,\n"
     "  loose files). The master archives are the folder's .vxa files that \"Plugins.txt\"\n"
     "  does not name, in name order, unless --archives lists them.\n"},
    {"which", VxaWhich,
     "vxa which <data-folder> <name> [--archives=a.vxa,b.vxa]\n"
     "  Where the file view serves the name from, and which other archives hold it and why\n"
     "  they are not used. The view starts as for cat.\n"},
    {"verify", VxaVerify,
     "vxa verify <archive>\n"
     "  Checks the header and tables as the reader does at open, then reads (inflates)\n"
     "  every member. Exit 0 when sound, 1 naming the first fault of each member.\n"},
};

constexpr char kExitCodes[] = "Exit codes: 0 done, 1 failed (error on stderr), 2 bad usage.\n";

void PrintOverview(FILE* out)
{
    std::fprintf(out, "vxa: make and inspect .vxa archives\n\n");
    for (Command const& command : kCommands)
        std::fprintf(out, "%s\n", command.pUsage);
    std::fprintf(out, "vxa <command> --help for one command. %s", kExitCodes);
}
} // namespace

int VxaError(char const* command, std::string const& file, std::string const& reason)
{
    std::fprintf(stderr, "vxa %s: %s: %s\n", command, file.c_str(), reason.c_str());
    return VXA_FAILED;
}

int VxaUsage(char const* command, bool asked)
{
    for (Command const& entry : kCommands)
        if (std::strcmp(entry.pName, command) == 0)
            std::fprintf(asked ? stdout : stderr, "usage: %s%s", entry.pUsage, kExitCodes);
    return asked ? VXA_OK : VXA_USAGE;
}

bool VxaHasOption(VxaArgs const& args, char const* option)
{
    for (std::string const& arg : args)
        if (arg == option)
            return true;
    return false;
}

VxaArgs VxaPositional(VxaArgs const& args)
{
    VxaArgs out;
    for (std::string const& arg : args)
        if (arg.rfind("--", 0) != 0)
            out.push_back(arg);
    return out;
}

std::string VxaUnknownOption(VxaArgs const& args, std::vector<char const*> const& known)
{
    for (std::string const& arg : args)
    {
        if (arg.rfind("--", 0) != 0 || arg == "--help")
            continue;
        bool found = false;
        for (char const* option : known)
        {
            size_t length = std::strlen(option);
            bool prefix = length && option[length - 1] == '=';
            found |= prefix ? arg.rfind(option, 0) == 0 : arg == option;
        }
        if (!found)
            return arg;
    }
    return {};
}

int VxaMain(int argc, char const* const* argv)
{
    if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "help"))
    {
        PrintOverview(argc < 2 ? stderr : stdout);
        return argc < 2 ? VXA_USAGE : VXA_OK;
    }
    VxaArgs args(argv + 2, argv + argc);
    for (Command const& command : kCommands)
        if (std::strcmp(command.pName, argv[1]) == 0)
            return command.pRun(args);
    std::fprintf(stderr, "vxa: unknown command '%s'\n", argv[1]);
    PrintOverview(stderr);
    return VXA_USAGE;
}
