// A file view as a host starts it, in a temporary folder that becomes the working
// directory: archives and loose files under "Data", the manager's settings, a finder
// with "Data" as search path. Everything is torn down and restored afterwards.
#pragma once

#include "ArchiveTestKit.h"
#include "vxsystem/FileFinder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

namespace vxtest
{
class FileViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::filesystem::create_directories(dir / "Data");
        cwd.emplace(dir.Path());
    }

    void TearDown() override
    {
        if (VXTArray<Archive*>* list = ArchiveManager::GetArchiveList())
            for (Archive* archive : *list)
                owned.emplace_back(archive);
        ArchiveManager::CloseAll();
        owned.clear();
        finder.reset();
        ArchiveManager::SetInvalidation(true, nullptr);
    }

    // Writes Data/<name> with the members; gives its path.
    std::string Pack(std::string const& name, std::vector<TestMember> const& members,
                     VXArchiveWriterOptions const& options = {})
    {
        return SaveArchive(dir, BuildArchive(members, options), "Data/" + name);
    }

    void Loose(std::string const& path, std::string const& bytes) { WriteFile(dir / path, bytes); }

    // Starts the view in the host's order; gives OpenMasterArchives' result.
    bool Start(char const* list, bool invalidate, char const* invalidationFile = nullptr)
    {
        ArchiveManager::Init(true, "Data\\", list, 0x20000);
        ArchiveManager::SetInvalidation(invalidate, invalidationFile);
        finder.emplace(nullptr, 0, false);
        FileFinder::AddPath("Data");
        return ArchiveManager::OpenMasterArchives();
    }

    std::string Read(char const* name)
    {
        std::unique_ptr<KoFile> file(FileFinder::GetFile(name, KoFile::MODE_READ, 4096));
        return file ? ReadAll(*file, 1000) : "<null>";
    }

    FileFinder::FILE_LOCATION Where(char const* name, std::string* path = nullptr,
                                    unsigned int flags = 0)
    {
        char out[MAX_PATH_BYTES];
        FileFinder::FILE_LOCATION location = FileFinder::Locate(name, out, flags, 0xFFFF);
        if (path)
            *path = out;
        return location;
    }

    Archive* Listed(unsigned int index) { return (*ArchiveManager::GetArchiveList())[index]; }

    ArchiveSettingsScope settings;
    TempDir dir;
    std::optional<ScopedCwd> cwd;
    std::optional<FileFinder> finder;
    std::vector<std::unique_ptr<Archive>> owned;
};
} // namespace vxtest
