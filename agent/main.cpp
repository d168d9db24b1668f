#include "Plug.h"
#include "os/OsProcess.h"

int main(int argc, char *argv[])
{
    OsPrepareProcess();
    PlugStart(argc, argv);
    for (;;) PlugCycle();
}
