// The vxa command: makes .vxa archives, inspects them, and asks the file view what it
// serves. Each subcommand is one function taking its arguments after the subcommand's
// name; each returns one of the exit codes below and writes its errors to stderr.
#pragma once

#include <string>
#include <vector>

using VxaArgs = std::vector<std::string>;

// Exit codes of every subcommand.
enum VxaExit : int
{
    VXA_OK = 0,     // done; for verify, the archive is sound
    VXA_FAILED = 1, // the work failed: unreadable or broken archive, name not found, I/O
    VXA_USAGE = 2,  // the command line is wrong
};

// The whole command line, as main receives it.
int VxaMain(int argc, char const* const* argv);

int VxaPack(VxaArgs const& args);
int VxaList(VxaArgs const& args);
int VxaExtract(VxaArgs const& args);
int VxaVerify(VxaArgs const& args);
int VxaCat(VxaArgs const& args);
int VxaWhich(VxaArgs const& args);

// "vxa <command>: <file>: <reason>" on stderr; returns VXA_FAILED.
int VxaError(char const* command, std::string const& file, std::string const& reason);
// The usage text of a command on stdout when asked, else on stderr; returns VXA_USAGE
// unless asked for.
int VxaUsage(char const* command, bool asked);
// Splits args into options (anything starting with "--") and positional arguments.
bool VxaHasOption(VxaArgs const& args, char const* option);
VxaArgs VxaPositional(VxaArgs const& args);
// Options that the command does not know; empty when every one is known.
std::string VxaUnknownOption(VxaArgs const& args, std::vector<char const*> const& known);
