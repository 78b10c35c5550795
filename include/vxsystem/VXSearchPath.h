// Search cursors: a path and a counter of the paths handed out. VXSearchPath offers its
// one path once; Reset starts over. Not thread-safe: one owner at a time.
#pragma once

#include "vxsystem/VXTypes.h"

class KoSearchPath
{
public:
    KoSearchPath();
    virtual ~KoSearchPath();
    // Starts the search over.
    virtual void Reset();

    // Stores the path, cut at 259 characters; null stores an empty path.
    void SetPath(char const* path);
    char const* QPath() const { return acPath; }
    uint32_t QNextPath() const { return uiNextPath; }

protected:
    uint32_t uiNextPath;            // paths handed out since the last Reset
    char acPath[MAX_PATH_BYTES];    // the path, terminated
    char acScratch[MAX_PATH_BYTES]; // working text of derived searches
};

class VXSearchPath : public KoSearchPath
{
public:
    VXSearchPath() = default;
    explicit VXSearchPath(char const* path) { SetPath(path); }
    ~VXSearchPath() override;

    // The first call copies the path into out (MAX_PATH_BYTES characters) and gives true;
    // later calls give false until Reset.
    virtual bool GetNextPath(char* out);
    // Always true: this search has no condition to check.
    virtual bool QValid() const;
};
