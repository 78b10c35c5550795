// vxa: make and inspect .vxa archives, and ask the file view what it serves.
#include "VxaTool.h"

int main(int argc, char** argv)
{
    return VxaMain(argc, argv);
}
