#include "vxsystem/vxsystem.h"

int main()
{
    FileFinder finder(nullptr, 0, false);
    return FileFinder::pFinder == &finder ? 0 : 1;
}
